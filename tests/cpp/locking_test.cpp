// What a call holds while the server works on it.
#include <thread>

#include "tests/cpp/client_test.h"

namespace zor::scripted {
namespace {

class Locking : public ClientTest {
 protected:
  Locking() {
    ThePipes().Listen(kRequestPipe, [this](const Bytes& /*request*/) {
      held_ = IsHeld(detail::CallMutex());
      return std::vector<Bytes>{Build(Reply{})};
    });
  }

  /// By whichever thread.
  [[nodiscard]] static bool IsHeld(std::mutex& mutex) {
    bool held = false;
    std::thread([&] { held = !std::unique_lock(mutex, std::try_to_lock).owns_lock(); }).join();
    return held;
  }

  bool held_ = false;  ///< during the last call
};

TEST_F(Locking, AClientLocksByDefault) {
  static_cast<void>(Client().GetInfo());
  EXPECT_TRUE(held_);
  EXPECT_FALSE(IsHeld(detail::CallMutex()));
}

TEST_F(Locking, AnInstanceLocksAsItsClientDoes) {
  Instance instance = Client().Create("general");
  held_ = false;
  instance.Start();
  EXPECT_TRUE(held_);
  held_ = false;
  instance.Destroy();
  EXPECT_TRUE(held_);
}

TEST_F(Locking, AnUnlockedClientTakesNoLock) {
  held_ = true;
  static_cast<void>(Client(kUnlocked).GetInfo());
  EXPECT_FALSE(held_);
}

TEST_F(Locking, AClientWithAMutexTakesThatAlone) {
  std::mutex mutex;
  held_ = true;
  static_cast<void>(Client(mutex).GetInfo());
  EXPECT_FALSE(held_);
}

}  // namespace
}  // namespace zor::scripted
