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

/// The library with the functions under test.
class Runtime : public ::testing::Test {
 protected:
  template <typename Function>
  Function* Find(const char* name) const {
    const FARPROC found = library_ == nullptr ? nullptr : GetProcAddress(library_.get(), name);
    if (found == nullptr) ThrowLastError(name);
    return reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(found));
  }

 private:
  std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeModule> library_{
      LoadLibraryW((BinaryFolder() + L"\\zor_test_rethrows.dll").c_str())};
};

TEST_F(Runtime, KnowsEachThreadsOwnExceptions) {
  const auto rethrow = Find<RethrowFunction>("Rethrow");
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

// A thread's variables are used again when it has ended.
TEST_F(Runtime, BeginsAThreadWithoutTheExceptionsOfOneThatHasEnded) {
  auto rethrow = Find<RethrowFunction>("Rethrow");
  const UniqueHandle ended = Require(CreateThread(
                                         nullptr, 0,
                                         [](void* function) -> DWORD {
                                           const auto call =
                                               *static_cast<RethrowFunction**>(function);
                                           return static_cast<DWORD>(call(
                                               1, [](void*) { ExitThread(7); }, nullptr));
                                         },
                                         &rethrow, 0, nullptr),
                                     "CreateThread");
  ASSERT_EQ(WaitForSingleObject(ended.get(), kPatienceMs), WAIT_OBJECT_0);
  DWORD status = 0;
  ASSERT_NE(GetExitCodeThread(ended.get(), &status), FALSE);
  ASSERT_EQ(status, 7U);

  const auto has_caught = Find<bool()>("HasCaught");
  bool has = true;
  std::jthread([&] { has = has_caught(); }).join();
  EXPECT_FALSE(has);
}

}  // namespace
}  // namespace zor::testing
