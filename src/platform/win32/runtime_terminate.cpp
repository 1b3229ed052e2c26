// libstdc++'s handler for exceptions that nobody catches writes their type to the standard error,
// and brings a demangler of 45 KB along for that. An application's own crash report says more.
#include <cstdlib>

// The library's own name for it, declared by no header that does not bring the original.
namespace __gnu_cxx {  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
void __verbose_terminate_handler() {  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
  std::abort();
}
}  // namespace __gnu_cxx
