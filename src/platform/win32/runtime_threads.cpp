// What the static C++ runtime needs of POSIX threads, over the system's own locks.
//
// It would otherwise come from winpthreads, which is not made to be unloaded: every load and unload
// leaves up to four handles behind, and one of the process's 1088 thread-local slots; when there is
// none left it ends the process. One locale is enough for that, and every regular expression has
// one. What each thread has of its own is in runtime_thread_locals.cpp.
//
// Should the runtime ask for a function that is not here, winpthreads comes in again, and the
// linker refuses what is then defined twice.
#include <pthread.h>
#include <windows.h>

#include <atomic>
#include <cstdint>

namespace {

/// A static initializer is a small negative number. The system's locks begin with zero, and are no
/// small negative number while they are in use.
template <typename Lock>
Lock* ToLock(std::intptr_t* object) noexcept {
  static_assert(sizeof(Lock) == sizeof(*object));
  const std::atomic_ref<std::intptr_t> value(*object);
  std::intptr_t found = value.load(std::memory_order_relaxed);
  if (found < 0 && found >= GENERIC_RECURSIVE_INITIALIZER) {
    value.compare_exchange_strong(found, 0);
  }
  return reinterpret_cast<Lock*>(object);
}

SRWLOCK* ToMutex(pthread_mutex_t* mutex) noexcept { return ToLock<SRWLOCK>(mutex); }

CONDITION_VARIABLE* ToCondition(pthread_cond_t* condition) noexcept {
  return ToLock<CONDITION_VARIABLE>(condition);
}

}  // namespace

// The signatures, and what a mutex is, are those of <pthread.h>.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,readability-non-const-parameter)
// NOLINTBEGIN(cert-fio38-c,misc-non-copyable-objects)

// Nothing in the runtime locks a recursive mutex twice.
int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* /*attributes*/) {
  *mutex = 0;
  return 0;
}

int pthread_mutex_destroy(pthread_mutex_t* /*mutex*/) { return 0; }

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  AcquireSRWLockExclusive(ToMutex(mutex));
  return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  ReleaseSRWLockExclusive(ToMutex(mutex));
  return 0;
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  SleepConditionVariableSRW(ToCondition(condition), ToMutex(mutex), INFINITE, 0);
  return 0;
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
  WakeAllConditionVariable(ToCondition(condition));
  return 0;
}

// The runtime's routines are short, and do not throw.
int pthread_once(pthread_once_t* once, void (*routine)()) {
  constexpr pthread_once_t kNew = PTHREAD_ONCE_INIT;
  constexpr pthread_once_t kDone = 1;
  constexpr pthread_once_t kRunning = 2;
  const std::atomic_ref<pthread_once_t> state(*once);
  for (pthread_once_t found = kNew; !state.compare_exchange_strong(found, kRunning); found = kNew) {
    if (found == kDone) return 0;
    SwitchToThread();
  }
  routine();
  state = kDone;
  return 0;
}

// NOLINTEND(cert-fio38-c,misc-non-copyable-objects)
// NOLINTEND(readability-inconsistent-declaration-parameter-name,readability-non-const-parameter)
