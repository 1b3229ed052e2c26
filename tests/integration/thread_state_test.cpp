// What a routine leaves of the pool's thread that ran it.
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/thread.h"
#include "platform/win32/thread_state.h"
#include "tests/integration/support/handle.h"

namespace zor::testing {
namespace {

GROUP_AFFINITY AffinityOf(HANDLE thread) {
  GROUP_AFFINITY affinity{};
  EXPECT_TRUE(GetThreadGroupAffinity(thread, &affinity));
  return affinity;
}

bool HasToken() {
  HANDLE token = nullptr;
  if (OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &token) == FALSE) {
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_TOKEN));
    return false;
  }
  CloseHandle(token);
  return true;
}

void ChangeEverything() {
  EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_LOWEST));
  EXPECT_NE(SetThreadAffinityMask(GetCurrentThread(), 1), 0U);
  EXPECT_TRUE(ImpersonateSelf(SecurityImpersonation));
}

/// A thread whose state is not the default, so that to reset is not to restore.
DWORD WINAPI KeepStateOnThread(void* /*argument*/) {
  EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_ABOVE_NORMAL));
  const GROUP_AFFINITY before = AffinityOf(GetCurrentThread());
  {
    const platform::ThreadStateKeeper keeper;
    ChangeEverything();
    EXPECT_NE(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_ABOVE_NORMAL);
    EXPECT_TRUE(HasToken());
  }
  EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_ABOVE_NORMAL);
  EXPECT_EQ(AffinityOf(GetCurrentThread()).Mask, before.Mask);
  EXPECT_FALSE(HasToken());
  return 0;
}

TEST(ThreadStateKeeper, RestoresPriorityAffinityAndToken) {
  const UniqueHandle thread =
      Require(CreateThread(nullptr, 0, KeepStateOnThread, nullptr, 0, nullptr), "CreateThread");
  EXPECT_EQ(WaitForSingleObject(thread.get(), kPatienceMs), WAIT_OBJECT_0);
}

struct PoolsThread {
  UniqueHandle handle;
  int priority = 0;
  GROUP_AFFINITY affinity{};
  Event begun;
};

TEST(PlatformThread, GivesThePoolsThreadBackAsItCame) {
  PoolsThread pools;
  platform::Thread* thread = platform::StartThread(
      [](void* argument) {
        auto& self = *static_cast<PoolsThread*>(argument);
        HANDLE handle = nullptr;
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &handle, 0,
                        FALSE, DUPLICATE_SAME_ACCESS);
        self.handle = Require(handle, "DuplicateHandle");
        self.priority = GetThreadPriority(handle);
        self.affinity = AffinityOf(handle);
        ChangeEverything();
        self.begun.Set();
      },
      &pools);
  ASSERT_NE(thread, nullptr);
  ASSERT_TRUE(pools.begun.WaitMs(kPatienceMs));
  ASSERT_TRUE(platform::JoinThread(thread));
  EXPECT_EQ(GetThreadPriority(pools.handle.get()), pools.priority);
  EXPECT_EQ(AffinityOf(pools.handle.get()).Mask, pools.affinity.Mask);
}

}  // namespace
}  // namespace zor::testing
