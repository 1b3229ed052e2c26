// Loads the library and ends without unloading it, at a moment of the test's choosing:
//   exit_child (plain | calling | blocked | busy) (return | exit-process) MICROSECONDS
// plain: from any state the library may be in. calling: while another thread makes calls. blocked:
// while a callback waits. busy: while a callback allocates. Exits with 42.
#include <windows.h>

#include <chrono>
#include <cstdlib>
#include <string_view>

#include "tests/integration/support/handle.h"
#include "tests/integration/support/loaded_library.h"

namespace {

using zor::testing::Event;
using zor::testing::kPatienceMs;

constexpr int kExitCode = 42;
constexpr int kUsage = 1;
constexpr int kNoLibrary = 2;
constexpr int kNoEvent = 3;

const Event& InCallback() {
  static const Event event;
  return event;
}

void Block(ZorEvent* /*event*/) {
  InCallback().Set();
  Sleep(INFINITE);
}

void KeepBusy(ZorEvent* /*event*/) {
  InCallback().Set();
  for (std::size_t size = 1;; size = size % 5000 + 1) {
    // Volatile: a compiler may leave out a block that nobody uses.
    void* volatile block = std::malloc(size);
    std::free(block);
  }
}

DWORD WINAPI KeepCalling(void* library) {
  for (;;) static_cast<const zor::testing::Exports*>(library)->Start(1);
}

/// To the microsecond, which a sleep is not.
void Wait(std::chrono::microseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) YieldProcessor();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return kUsage;
  const std::string_view state = argv[1];
  const std::string_view way = argv[2];

  // Never unloaded: the end of the process is what is tested.
  const HMODULE loaded = LoadLibraryW(zor::testing::BuiltLibrary().c_str());
  if (loaded == nullptr) return kNoLibrary;
  static zor::testing::Exports library = zor::testing::FindExports(loaded);  // used to the end
  if (state == "calling") {
    const zor::testing::UniqueHandle thread = zor::testing::Require(
        CreateThread(nullptr, 0, KeepCalling, &library, 0, nullptr), "CreateThread");
  } else if (state != "plain") {
    library.RegEventCallback(state == "busy" ? KeepBusy : Block);
    if (!InCallback().WaitMs(kPatienceMs)) return kNoEvent;
  }
  Wait(std::chrono::microseconds(std::atoi(argv[3])));
  if (way == "exit-process") ExitProcess(kExitCode);
  return kExitCode;
}
