#include "transport/listener_thread.h"

#include <system_error>
#include <utility>

#include "platform/thread.h"

namespace zor {
namespace {

[[noreturn]] void Fail(std::errc condition) {
  throw std::system_error(std::make_error_code(condition));
}

}  // namespace

ListenerThread::ListenerThread(void (*routine)(void*), void* argument)
    : thread_(platform::StartThread(routine, argument)) {
  if (thread_ == nullptr) Fail(std::errc::resource_unavailable_try_again);
}

void ListenerThread::Join() {
  if (thread_ == nullptr) Fail(std::errc::invalid_argument);
  if (platform::IsCurrentThread(thread_)) Fail(std::errc::resource_deadlock_would_occur);
  if (!platform::JoinThread(std::exchange(thread_, nullptr))) Fail(std::errc::no_such_process);
}

}  // namespace zor
