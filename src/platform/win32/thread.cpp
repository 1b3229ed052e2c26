#include "platform/thread.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <new>

#include "platform/heap.h"
#include "platform/win32/thread_state.h"

namespace zor::platform {

// A private thread pool of one thread, whose one work item is the routine. Not a plain thread:
// joining one from the unload waits for an exit that itself waits for the loader's lock, which the
// unload holds; and the runtime's threads hold a reference on the library, which is then never
// unloaded. A work item ends by returning into the system, so once the wait below is over nothing
// of the library is left on the thread's stack.
struct Thread {
  void (*routine)(void*) = nullptr;
  void* argument = nullptr;
  std::atomic<DWORD> id{0};  ///< while the routine runs, else 0
  PTP_POOL pool = nullptr;
  PTP_WORK work = nullptr;

  Thread() = default;
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  ~Thread() {
    if (work != nullptr) CloseThreadpoolWork(work);
    if (pool != nullptr) CloseThreadpool(pool);
  }
};

namespace {

struct ThreadDelete {
  void operator()(Thread* thread) const noexcept {
    thread->~Thread();
    HeapFree(thread);
  }
};

using OwnedThread = std::unique_ptr<Thread, ThreadDelete>;

/// Of the C heap: without memory even `new (std::nothrow)` throws inside the runtime.
OwnedThread MakeThread() noexcept {
  void* block = HeapAllocate(sizeof(Thread));
  return OwnedThread(block == nullptr ? nullptr : new (block) Thread);
}

void CALLBACK RunRoutine(PTP_CALLBACK_INSTANCE /*instance*/, void* context, PTP_WORK /*work*/) {
  const ThreadStateKeeper keeper;
  auto* thread = static_cast<Thread*>(context);
  thread->id = GetCurrentThreadId();
  thread->routine(thread->argument);
  thread->id = 0;
}

}  // namespace

Thread* StartThread(void (*routine)(void*), void* argument) noexcept {
  OwnedThread thread = MakeThread();
  if (thread == nullptr) return nullptr;
  thread->routine = routine;
  thread->argument = argument;

  thread->pool = CreateThreadpool(nullptr);
  if (thread->pool == nullptr) return nullptr;
  SetThreadpoolThreadMaximum(thread->pool, 1);
  if (SetThreadpoolThreadMinimum(thread->pool, 1) == FALSE) return nullptr;

  TP_CALLBACK_ENVIRON environment;
  InitializeThreadpoolEnvironment(&environment);
  SetThreadpoolCallbackPool(&environment, thread->pool);
  thread->work = CreateThreadpoolWork(RunRoutine, thread.get(), &environment);
  DestroyThreadpoolEnvironment(&environment);
  if (thread->work == nullptr) return nullptr;

  SubmitThreadpoolWork(thread->work);
  return thread.release();
}

bool IsCurrentThread(const Thread* thread) noexcept { return thread->id == GetCurrentThreadId(); }

bool JoinThread(Thread* thread) noexcept {
  const OwnedThread owned(thread);
  WaitForThreadpoolWorkCallbacks(owned->work, TRUE);
  return true;
}

void Sleep(std::uint32_t milliseconds) noexcept { ::Sleep(milliseconds); }

}  // namespace zor::platform
