// Only in the library whose lines are counted under Wine (./dev coverage). GCC would write the
// counts when the destructors of `.dtors` run, but those of static objects, which are the unload
// itself, run after them. So the linker turns GCC's calls to this file, and the counts are written
// at the very end.
#include <cstdlib>

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
void __real___gcov_exit();
void __wrap___gcov_exit() {}
}

namespace {

// Registered before any object of the library is built, so called when all are destroyed.
[[gnu::constructor(99)]] void WriteAtTheEnd() {
  static_cast<void>(std::atexit(__real___gcov_exit));
}

}  // namespace
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
