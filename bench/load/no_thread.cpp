// platform/thread.h without a thread: the listener never begins. What it adds to a load and an
// unload is what is missing with this.
#include "platform/thread.h"

namespace zor::platform {

struct Thread {};
Thread* StartThread(void (* /*routine*/)(void*), void* /*argument*/) noexcept {
  static Thread never_begins;
  return &never_begins;
}
bool IsCurrentThread(const Thread* /*thread*/) noexcept { return false; }
bool JoinThread(Thread* /*thread*/) noexcept { return true; }
void Sleep(std::uint32_t /*milliseconds*/) noexcept {}

}  // namespace zor::platform
