#include "simulator/win32/pipe_security.h"

#include <sddl.h>

namespace zor::sim {
namespace {

// Protected: nothing is inherited. Network logons are denied first. A client opens for
// GENERIC_WRITE, which on a pipe brings the right to create further instances with it; there is no
// narrower grant under which it could connect.
constexpr const wchar_t* kDescriptor =
    L"D:P(D;;GA;;;NU)(A;;GA;;;OW)(A;;GA;;;SY)(A;;GA;;;BA)(A;;GRGW;;;IU)";

}  // namespace

PipeSecurity::PipeSecurity() {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(kDescriptor, SDDL_REVISION_1,
                                                           &descriptor, nullptr) == FALSE) {
    return;
  }
  descriptor_.reset(descriptor);
  attributes_ = {sizeof(attributes_), descriptor, FALSE};
}

}  // namespace zor::sim
