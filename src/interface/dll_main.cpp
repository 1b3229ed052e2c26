#include <windows.h>

#include <atomic>

#include "interface/library.h"
#include "platform/process.h"

namespace zor::platform {
namespace {

std::atomic<bool> process_is_ending{false};

}  // namespace

bool ProcessIsEnding() noexcept { return process_is_ending; }

}  // namespace zor::platform

// Runs after the static constructors at attach, and before the static destructors at detach. FALSE
// at attach makes the load fail with ERROR_DLL_INIT_FAILED; what was built is destroyed before.
extern "C" BOOL WINAPI DllMain(HINSTANCE /*library*/, DWORD reason, void* reserved) {
  if (reason == DLL_PROCESS_DETACH && reserved != nullptr) {
    zor::platform::process_is_ending = true;
  }
  if (reason == DLL_PROCESS_ATTACH && !zor::IsLoaded()) return FALSE;
  return TRUE;
}
