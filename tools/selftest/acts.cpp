#include "tools/selftest/acts.h"

#include <windows.h>

#include <string_view>

#include "tools/selftest/library.h"
#include "tools/selftest/pipe_pair.h"

namespace zor::selftest {
namespace {

constexpr int kWrongUse = 2;
constexpr int kNothingCame = 3;

int ServeAndWait(const std::wstring& name) {
  const UniqueHandle pipe = MakeInstance(name);
  ConnectNamedPipe(pipe.get(), nullptr);
  static_cast<void>(Read(pipe.get(), 1024));
  static_cast<void>(Write(pipe.get(), 10));
  static_cast<void>(Write(pipe.get(), 20));
  Sleep(INFINITE);
  return 0;
}

DWORD WINAPI CallAndWait(void* library) {
  static_cast<void>((*static_cast<Library*>(library))->ZorIntfStart(1));
  return 0;
}

/// Ends the process with the library loaded, and never unloads it: its end is what is looked at.
int EndIn(std::wstring_view state) {
  static const Event in_callback;
  static auto* library = new Library;  // NOLINT(cppcoreguidelines-owning-memory)
  if (state == kInCallback) {
    (*library)->ZorIntfRegEventCallback([](ZorEvent*) {
      in_callback.Set();
      Sleep(INFINITE);
    });
    if (!in_callback.IsSetWithin(kPatienceMs)) return kNothingCame;
  } else if (state == kInCall) {
    const UniqueHandle caller =
        Require(CreateThread(nullptr, 0, CallAndWait, library, 0, nullptr), "CreateThread");
    Sleep(300);  // into the call
  } else {
    Sleep(20);  // a pass or two of the listener
  }
  ExitProcess(kEnded);
}

}  // namespace

int Act(std::span<const std::wstring> words) {
  if (words.size() == 2 && words[0] == kServeAndWait) return ServeAndWait(words[1]);
  if (words.size() == 2 && words[0] == kEndIn) return EndIn(words[1]);
  return kWrongUse;
}

}  // namespace zor::selftest
