#include "tools/selftest/acts.h"

#include <windows.h>

#include "tools/selftest/pipe_pair.h"

namespace zor::selftest {
namespace {

constexpr int kWrongUse = 2;

int ServeAndWait(const std::wstring& name) {
  const UniqueHandle pipe = MakeInstance(name);
  ConnectNamedPipe(pipe.get(), nullptr);
  static_cast<void>(Read(pipe.get(), 1024));
  static_cast<void>(Write(pipe.get(), 10));
  static_cast<void>(Write(pipe.get(), 20));
  Sleep(INFINITE);
  return 0;
}

}  // namespace

int Act(std::span<const std::wstring> words) {
  if (words.size() == 2 && words[0] == kServeAndWait) return ServeAndWait(words[1]);
  return kWrongUse;
}

}  // namespace zor::selftest
