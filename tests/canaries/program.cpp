// Cases that must fail, each in its own way; and one that passes, so that the program itself is
// seen to work.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <limits>
#include <thread>

namespace {

TEST(Canary, Passes) { SUCCEED(); }

TEST(Canary, Fails) { FAIL(); }

TEST(Canary, Crashes) { *static_cast<int volatile*>(nullptr) = 1; }

TEST(Canary, Hangs) {
  for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
}

TEST(Canary, EndsEarly) { std::exit(0); }

/// Wine hands on the lowest eight bits of a status: of this one a 0.
TEST(Canary, EndsWithAStatusOfMoreThanEightBits) { std::exit(256); }

TEST(Canary, ReadsBeyondABlock) {
  int* volatile block = new int[4];
  volatile int beyond = block[4];
  delete[] block;
  EXPECT_EQ(beyond, beyond);
}

TEST(Canary, LosesABlock) {
  // Many: a register may still hold the last one.
  for (int i = 0; i < 100; ++i) {
    int* volatile block = new int[4];
    block[0] = i;
  }
}

TEST(Canary, OverflowsANumber) {
  volatile int number = std::numeric_limits<int>::max();
  number = number + 1;
}

TEST(Canary, WritesFromTwoThreadsAtOnce) {
  int number = 0;
  std::thread other([&] { number = 1; });
  number = 2;
  other.join();
}

}  // namespace
