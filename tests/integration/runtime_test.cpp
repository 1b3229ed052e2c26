// The parts of the C++ runtime that the library brings along in its own way.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <thread>
#include <type_traits>

#include "tests/integration/support/handle.h"
#include "tests/integration/support/loaded_library.h"

namespace zor::testing {
namespace {

using RethrowFunction = int(int value, void (*inside)(void*), void* context);

struct FreeModule {
  void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};

TEST(Runtime, KnowsEachThreadsOwnExceptions) {
  const std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeModule> library(
      LoadLibraryW((BinaryFolder() + L"\\zor_test_rethrows.dll").c_str()));
  ASSERT_NE(library, nullptr);
  const auto rethrow = reinterpret_cast<RethrowFunction*>(
      reinterpret_cast<void (*)()>(GetProcAddress(library.get(), "Rethrow")));
  ASSERT_NE(rethrow, nullptr);

  struct Meeting {
    Event other_has_caught;
    Event mine_has_ended;
  } meeting;
  int others = 0;
  std::jthread other;
  struct Context {
    Meeting& meeting;
    RethrowFunction* rethrow;
    int& others;
    std::jthread& other;
  } context{meeting, rethrow, others, other};

  // While this thread's exception is caught, another thread catches one of its own, and is not done
  // with it.
  const int mine = rethrow(
      1,
      [](void* argument) {
        auto& shared = *static_cast<Context*>(argument);
        shared.other = std::jthread([&shared] {
          shared.others = shared.rethrow(
              2,
              [](void* events) {
                const auto& met = *static_cast<Meeting*>(events);
                met.other_has_caught.Set();
                EXPECT_TRUE(met.mine_has_ended.WaitMs(kPatienceMs));
              },
              &shared.meeting);
        });
        EXPECT_TRUE(shared.meeting.other_has_caught.WaitMs(kPatienceMs));
      },
      &context);
  meeting.mine_has_ended.Set();
  other.join();
  EXPECT_EQ(mine, 1);
  EXPECT_EQ(others, 2);
}

}  // namespace
}  // namespace zor::testing
