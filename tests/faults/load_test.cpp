// The faults of load and unload. Nothing else in them can fail.
#include <gtest/gtest.h>

#include <csignal>
#include <system_error>

#include "tests/faults/plan.h"
#include "tests/faults/tally.h"
#include "tests/support/library_test.h"

namespace zor::faults {
namespace {

using scripted::LoadedLibrary;
using scripted::TheCalls;
using scripted::TheThreads;

class FaultsOfLoading : public scripted::PlatformTest {};

TEST_F(FaultsOfLoading, AreThatThereIsNoThreadAndThatItCannotBeJoined) {
  TheThreads().SetBegin(scripted::Threads::Begin::kNever);
  { const LoadedLibrary library; }
  const auto steps = TheCalls().TakeSteps();
  ASSERT_EQ(steps.size(), 2U);
  EXPECT_EQ(steps[0].function, Function::kStartThread);
  EXPECT_EQ(steps[1].function, Function::kJoinThread);
}

TEST_F(FaultsOfLoading, WithoutAThreadThrowAndTheNextLoadSucceeds) {
  Inject({{0, 8}});
  try {
    const LoadedLibrary library;
    ADD_FAILURE() << "loaded without a listener";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
  }
  TheThreads().SetBegin(scripted::Threads::Begin::kNever);
  const LoadedLibrary library;
  Tally("single faults in load and unload", 1);
}

using FaultsOfUnloadingDeathTest = FaultsOfLoading;

TEST_F(FaultsOfUnloadingDeathTest, AListenerThatCannotBeJoinedEndsTheProcess) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        TheThreads().SetBegin(scripted::Threads::Begin::kNever);
        Inject({{1, 8}});
        const LoadedLibrary library;
      },
      ::testing::KilledBySignal(SIGABRT), "terminate called");
  Tally("single faults in load and unload", 1);
}

}  // namespace
}  // namespace zor::faults
