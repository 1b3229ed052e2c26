// Loads that fail: for want of a thread, and of memory at each of load's allocations.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/integration/support/cycles.h"
#include "tests/integration/support/import_faults.h"
#include "tests/integration/support/loaded_library.h"

namespace zor::testing {
namespace {

constexpr int kCycles = 50;

/// Expects the load to fail as LoadLibrary says it, and the library to be gone.
void ExpectLoadToFail() {
  SetLastError(0);
  const HMODULE library = LoadLibraryW(BuiltLibrary().c_str());
  const DWORD error = GetLastError();
  EXPECT_EQ(library, nullptr);
  EXPECT_EQ(error, static_cast<DWORD>(ERROR_DLL_INIT_FAILED));
  EXPECT_EQ(GetModuleHandleW(L"ZorInterface.dll"), nullptr);
}

void ExpectLoadToSucceed() {
  LoadedLibrary library;
  EXPECT_EQ(library->Start(1), 2U);
  Unload(library);
}

class FailedLoad : public ::testing::Test {
 protected:
  ImportFaults faults_;
};

class FailedLoadWithout : public FailedLoad, public ::testing::WithParamInterface<Import> {};

TEST_P(FailedLoadWithout, LeavesNothingBehind) {
  ExpectNothingLeftBehind(kCycles, [](int) {
    ImportFaults::Fail(GetParam());
    ExpectLoadToFail();
    ASSERT_TRUE(ImportFaults::Stop());
  });
  ExpectLoadToSucceed();
}

INSTANTIATE_TEST_SUITE_P(Requests, FailedLoadWithout,
                         ::testing::Values(Import::kThreadPool, Import::kThreadPoolMinimum,
                                           Import::kWorkItem),
                         [](const auto& request) {
                           return request.param == Import::kThreadPool          ? "ThreadPool"
                                  : request.param == Import::kThreadPoolMinimum ? "PoolsThread"
                                                                                : "WorkItem";
                         });

/// Loads with each allocation refused in turn, and the number of loads that failed.
int LoadWithoutMemory(Which which) {
  int failed = 0;
  for (int nth = 1;; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    ImportFaults::Fail(Import::kMemory, nth, which);
    const HMODULE library = LoadLibraryW(BuiltLibrary().c_str());
    const DWORD error = GetLastError();
    const bool refused = ImportFaults::Stop();
    if (library != nullptr) {
      FreeLibrary(library);
      // The runtime can do without its reserve for exceptions.
      EXPECT_TRUE(!refused || which == Which::kOne);
    } else {
      ++failed;
      EXPECT_EQ(error, static_cast<DWORD>(ERROR_DLL_INIT_FAILED));
    }
    if (!refused) return failed;
    EXPECT_EQ(GetModuleHandleW(L"ZorInterface.dll"), nullptr);
  }
}

class FailedLoadWithoutMemory : public FailedLoad, public ::testing::WithParamInterface<Which> {};

TEST_P(FailedLoadWithoutMemory, LeavesNothingBehind) {
  OutputDebugStringA("warming up\n");  // the system keeps what it opens for the first line
  const int failed = LoadWithoutMemory(GetParam());
  EXPECT_GT(failed, 10);
  const Usage before = SettleWithin(Usage{}, 1000);
  EXPECT_EQ(LoadWithoutMemory(GetParam()), failed);
  ExpectNoMoreThan(before);
  ExpectLoadToSucceed();
}

INSTANTIATE_TEST_SUITE_P(Allocations, FailedLoadWithoutMemory,
                         ::testing::Values(Which::kOne, Which::kAllFrom), [](const auto& which) {
                           return which.param == Which::kOne ? "One" : "AllFromOne";
                         });

// --- the process has no slot left for values of its threads

TEST_F(FailedLoad, ThrowsInsideWithoutASlotForThreads) {
  std::vector<DWORD> slots;
  for (DWORD slot = FlsAlloc(nullptr); slot != FLS_OUT_OF_INDEXES; slot = FlsAlloc(nullptr)) {
    slots.push_back(slot);
  }
  EXPECT_GT(slots.size(), 64U);
  ImportFaults::Fail(Import::kThreadPool);
  ExpectLoadToFail();
  for (const DWORD slot : slots) FlsFree(slot);
}

}  // namespace
}  // namespace zor::testing
