// Threads, thread pools and the loader's lock: the system alone.
#include <windows.h>

#include <array>
#include <atomic>

#include "tools/selftest/background.h"
#include "tools/selftest/checks/checks.h"
#include "tools/selftest/usage.h"

namespace zor::selftest {
namespace {

/// Holds the lock that the system holds while it loads or unloads a library.
class LoaderLock {
 public:
  LoaderLock() {
    using Lock = LONG NTAPI(ULONG, ULONG*, ULONG_PTR*);
    if (Find<Lock>("LdrLockLoaderLock")(0, nullptr, &cookie_) != 0) {
      throw std::runtime_error("the loader's lock is not to be had");
    }
  }
  LoaderLock(const LoaderLock&) = delete;
  LoaderLock& operator=(const LoaderLock&) = delete;
  ~LoaderLock() { Release(); }

  void Release() noexcept {
    using Unlock = LONG NTAPI(ULONG, ULONG_PTR);
    if (cookie_ != 0) Find<Unlock>("LdrUnlockLoaderLock")(0, cookie_);
    cookie_ = 0;
  }

 private:
  template <typename Function>
  static Function* Find(const char* name) noexcept {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
  }

  ULONG_PTR cookie_ = 0;
};

/// A private pool of one thread with one work item, as the library has it.
class PoolOfOne {
 public:
  explicit PoolOfOne(std::function<void()> routine)
      : routine_(std::move(routine)), pool_(CreateThreadpool(nullptr)) {
    if (pool_ == nullptr) ThrowLastError("CreateThreadpool");
    SetThreadpoolThreadMaximum(pool_, 1);
    if (SetThreadpoolThreadMinimum(pool_, 1) == FALSE) ThrowLastError("SetThreadpoolThreadMinimum");
    TP_CALLBACK_ENVIRON environment;
    InitializeThreadpoolEnvironment(&environment);
    SetThreadpoolCallbackPool(&environment, pool_);
    work_ = CreateThreadpoolWork(Run, this, &environment);
    if (work_ == nullptr) ThrowLastError("CreateThreadpoolWork");
    SubmitThreadpoolWork(work_);
  }
  PoolOfOne(const PoolOfOne&) = delete;
  PoolOfOne& operator=(const PoolOfOne&) = delete;
  ~PoolOfOne() {
    Wait();
    CloseThreadpoolWork(work_);
    CloseThreadpool(pool_);
  }

  /// Until the routine has ended; one that has not begun is called off.
  void Wait() const noexcept { WaitForThreadpoolWorkCallbacks(work_, TRUE); }

 private:
  static void CALLBACK Run(PTP_CALLBACK_INSTANCE /*instance*/, void* self, PTP_WORK /*work*/) {
    static_cast<PoolOfOne*>(self)->routine_();
  }

  std::function<void()> routine_;
  PTP_POOL pool_;
  PTP_WORK work_ = nullptr;
};

std::string PoolRunning(Notes& /*notes*/) {
  const Event begun;
  const Event go_on;
  std::atomic<bool> ended{false};
  const PoolOfOne pool([&] {
    begun.Set();
    go_on.Await("the signal");
    Sleep(200);
    ended = true;
  });
  begun.Await("the work item");
  const LoaderLock lock;
  go_on.Set();
  pool.Wait();
  return ended ? "returns when the routine has ended" : "returns before the routine has ended";
}

std::string PoolUnbegun(Notes& /*notes*/) {
  std::atomic<bool> ran{false};
  LoaderLock lock;
  const PoolOfOne pool([&] { ran = true; });
  pool.Wait();
  const bool early = ran;
  lock.Release();
  Sleep(300);
  return early ? "begins under the lock" : ran ? "runs after the wait" : "returns; never runs";
}

std::string EndNeedsLock(Notes& /*notes*/) {
  const Event begun;
  const Event go_on;
  const Background thread([&] {
    begun.Set();
    go_on.Await("the signal");
  });
  begun.Await("the thread");
  LoaderLock lock;
  go_on.Set();
  const bool ends = thread.EndsWithin(kWaitingMs);
  lock.Release();
  thread.Await("the thread");
  return ends ? "ends under the lock" : "waits for the lock, then ends";
}

std::string BeginNeedsLock(Notes& /*notes*/) {
  const Event begun;
  LoaderLock lock;
  const Background thread([&] { begun.Set(); });
  const bool begins = begun.IsSetWithin(kWaitingMs);
  lock.Release();
  begun.Await("the thread");
  return begins ? "begins under the lock" : "waits for the lock, then begins";
}

std::string PoolState(Notes& /*notes*/) {
  std::string seen;
  const Event looked;
  const PoolOfOne pool([&] {
    HANDLE opened = nullptr;
    const BOOL ok = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &opened);
    const DWORD error = GetLastError();
    const UniqueHandle token(opened);
    GROUP_AFFINITY affinity{};
    const BOOL told = GetThreadGroupAffinity(GetCurrentThread(), &affinity);
    seen = Text("token: ", ok != FALSE ? "one" : Text("error ", error), "; priority ",
                GetThreadPriority(GetCurrentThread()), "; affinity ",
                told != FALSE && affinity.Mask != 0 ? "told" : "unknown");
    looked.Set();
  });
  looked.Await("the work item");
  return seen;
}

std::string BackgroundMode(Notes& /*notes*/) {
  const auto set = [](int mode) {
    const BOOL ok = SetThreadPriority(GetCurrentThread(), mode);
    const DWORD error = GetLastError();
    return ok != FALSE ? std::string("ok") : Text("error ", error);
  };
  const std::string before = set(THREAD_MODE_BACKGROUND_END);
  const std::string begin = set(THREAD_MODE_BACKGROUND_BEGIN);
  const std::string end = set(THREAD_MODE_BACKGROUND_END);
  return Text("end ", before, ", begin ", begin, ", end ", end, "; priority ",
              GetThreadPriority(GetCurrentThread()));
}

std::string PoolsLeave(Notes& /*notes*/) {
  constexpr int kWarmUp = 10;
  constexpr int kPools = 300;
  Usage before;
  for (int i = -kWarmUp; i < kPools; ++i) {
    if (i == 0) before = Usage::Now();
    const PoolOfOne pool([] {});
  }
  return GrowthSince(before);
}

constexpr std::string_view kPage = "docs/threading.md";

constexpr std::array kChecks = {
    Check{"threads.pool-under-lock",
          "Waiting for a pool's work item that runs comes to its end under the loader's lock.",
          kPage, "To wait for it needs no lock", "returns when the routine has ended", "",
          PoolRunning},
    Check{"threads.pool-not-begun",
          "A work item that cannot begin under the loader's lock is called off by the wait.", kPage,
          "A work item that has not begun is cancelled", "returns; never runs", "", PoolUnbegun},
    Check{"threads.end-needs-lock", "A plain thread needs the loader's lock to end.", kPage,
          "A thread that ends needs this lock, so waiting for a plain thread would take for ever",
          "waits for the lock, then ends", "", EndNeedsLock},
    Check{"threads.begin-needs-lock", "A thread needs the loader's lock to begin.", kPage,
          "A thread begins and ends under the loader lock", "waits for the lock, then begins", "",
          BeginNeedsLock},
    Check{
        "threads.pool-state",
        "A pool's thread begins without a token of its own (1008), with priority 0, and tells its "
        "affinity.",
        kPage,
        "On Windows the pool raises an exception if a work item returns with another priority, "
        "affinity or token",
        "token: error 1008; priority 0; affinity told", "", PoolState},
    Check{"threads.background-mode",
          "Ending the background mode of a thread that is not in it fails (401), and does no harm.",
          kPage, "The library saves the priority (background mode too)",
          "end error 401, begin ok, end ok; priority 0",
          "end error 87, begin error 87, end error 87; priority 0", BackgroundMode},
    Check{"threads.pools-leave-nothing", "A pool that is closed leaves no thread and no handle.",
          kPage, "No thread remains, and no handle but these", "0 handles and 0 threads more", "",
          PoolsLeave},
};

}  // namespace

std::span<const Check> ThreadChecks() { return kChecks; }

}  // namespace zor::selftest
