#include "tests/schedules/scenario.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <utility>
#include <vector>

#include "notify/notify_listener.h"
#include "tests/faults/tally.h"
#include "tests/schedules/exploration.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace zor::schedules {
namespace {

const Exploration* under_way = nullptr;

/// For runs that end the process.
void PrintSchedule() {
  if (under_way == nullptr) return;
  std::printf("crashed in the schedule %s\n", under_way->name().c_str());
  std::fflush(stdout);
}

#if defined(__SANITIZE_ADDRESS__)
void PrintScheduleOfACrash() { __asan_set_death_callback(PrintSchedule); }
#else
void PrintScheduleOfACrash() {
  for (const int number : {SIGSEGV, SIGABRT}) {
    std::signal(number, [](int /*signal*/) {
      PrintSchedule();
      std::_Exit(EXIT_FAILURE);
    });
  }
}
#endif

struct Outcome {
  End end = End::kAllEnded;
  std::string threads;  ///< those that have not ended
};

struct OneRun {
  OneRun(const MakeScenario& make, Exploration& exploration, bool trace)
      : scheduler(
            [&exploration](std::size_t count, std::size_t unforced) {
              return exploration.Choose(count, unforced);
            },
            trace),
        scenario(make()) {}

  Scheduler scheduler;
  System system{scheduler};
  std::unique_ptr<Scenario> scenario;
};

/// The scenario is checked when all its threads have ended.
Outcome Run(const MakeScenario& make, Exploration& exploration, bool trace) {
  auto run = std::make_unique<OneRun>(make, exploration, trace);
  run->scenario->Begin(run->system);
  const End end = run->scheduler.Run();
  if (end == End::kAllEnded) {
    run->scenario->Check(run->system);
    return {end, ""};
  }
  // Threads that have not ended still use what they stand on: it stays, and is no leak.
  static auto& given_up = *new std::vector<std::unique_ptr<OneRun>>;
  given_up.push_back(std::move(run));
  return {end, given_up.back()->scheduler.Describe()};
}

void RunAndCheck(const MakeScenario& make, Exploration& exploration, bool trace) {
  const Outcome outcome = Run(make, exploration, trace);
  if (outcome.end == End::kDeadlock) ADD_FAILURE() << "deadlock: " << outcome.threads;
  if (outcome.end == End::kEndless) ADD_FAILURE() << "does not end: " << outcome.threads;
  if (!::testing::Test::HasFailure()) return;
  const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::printf("failed in the schedule %s; its steps: ZOR_SCHEDULE=%s, --gtest_filter=%s.%s\n",
              exploration.name().c_str(), exploration.name().c_str(), test->test_suite_name(),
              test->name());
}

int ForcedSwitches() {
  if (const char* number = std::getenv("ZOR_SWITCHES")) return std::atoi(number);
  return faults::WholeCampaign() ? 3 : 2;
}

}  // namespace

void Scenario::Check(System& system) {
  EXPECT_EQ(system.open_count(), 0) << "a handle is left open";
  EXPECT_EQ(system.shared_count(), 0U) << "a shared variable is left";
}

void Explore(const MakeScenario& make) {
  PrintScheduleOfACrash();
  if (const char* name = std::getenv("ZOR_SCHEDULE")) {
    Exploration one{std::string(name)};
    under_way = &one;
    RunAndCheck(make, one, true);
    under_way = nullptr;
    return;
  }
  const int switches = ForcedSwitches();
  Exploration exploration(switches);
  under_way = &exploration;
  std::size_t runs = 0;
  do {
    RunAndCheck(make, exploration, false);
    ++runs;
  } while (!::testing::Test::HasFailure() && exploration.Next());
  under_way = nullptr;
  const std::string what =
      "schedules with at most " + std::to_string(switches) + " forced switches";
  faults::Tally(what.c_str(), runs);
}

std::string FindDeadlock(const MakeScenario& make) {
  Exploration exploration(ForcedSwitches());
  do {
    const Outcome outcome = Run(make, exploration, false);
    if (outcome.end == End::kDeadlock) return outcome.threads;
  } while (exploration.Next());
  return {};
}

void Dll::Load() {
  const LoaderLock lock;
  if (users_++ != 0) return;
  owner_ = std::make_unique<RpcClient>(RunNotifyListener);
  client_ = owner_.get();
}

void Dll::Unload() {
  const LoaderLock lock;
  if (--users_ == 0) owner_.reset();
}

}  // namespace zor::schedules
