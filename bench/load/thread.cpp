// A library whose load starts a thread and whose unload waits for it, as the library's do, and that
// does nothing else: the least that a listener costs.
#include "platform/thread.h"

#include "platform/process.h"

namespace {

struct Started {
  zor::platform::Thread* thread = zor::platform::StartThread([](void*) {}, nullptr);

  Started() = default;
  Started(const Started&) = delete;
  Started& operator=(const Started&) = delete;
  ~Started() {
    if (!zor::platform::ProcessIsEnding()) static_cast<void>(zor::platform::JoinThread(thread));
  }
};

const Started started;

}  // namespace

extern "C" __declspec(dllexport) int BenchPart() { return started.thread == nullptr ? 0 : 1; }
