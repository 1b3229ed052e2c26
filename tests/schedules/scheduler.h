/// Threads that take turns by one scheduler's choice alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "tests/schedules/fiber.h"

namespace zor::schedules {

/// How a run ends.
enum class End : std::uint8_t {
  kAllEnded,
  kDeadlock,  ///< every thread that is left waits for another
  kEndless,   ///< there is always a next step, and no end
};

/// A thread goes on until it waits, sleeps or ends, unless the scheduler forces a switch at one of
/// its points. One that sleeps can be woken at any time, but is left asleep while others can go on
/// unless the scheduler forces that, too.
class Scheduler {
 public:
  /// Chooses one of `count` ways to go on. The first `unforced` of them need no forced switch.
  using Choose = std::function<std::size_t(std::size_t count, std::size_t unforced)>;

  /// With `trace` every step is written to the standard output.
  explicit Scheduler(Choose choose, bool trace = false);

  /// A further thread. May be called by a thread, too.
  void Start(const char* name, std::function<void()> body);

  /// Runs the threads until all have ended or none goes on.
  [[nodiscard]] End Run();

  /// What each thread that has not ended is doing.
  [[nodiscard]] std::string Describe() const;

  // For the threads.

  /// Another thread may come before the step that follows. Nothing before the run.
  void Point(const char* step, std::intptr_t detail = 0);

  /// Lets the others go on until `ready`; `reason` says what it waits for.
  void WaitUntil(std::function<bool()> ready, const char* reason);

  void Sleep();

  /// The number of the thread that runs, in the order of Start(); -1 when none does.
  [[nodiscard]] int current() const;

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  static constexpr int kStepLimit = 3000;

  struct Thread {
    Thread(const char* its_name, std::function<void()> body)
        : name(its_name), fiber(std::move(body)) {}

    const char* name;
    Fiber fiber;
    std::function<bool()> ready;  ///< what it waits for; empty when it does not wait
    int asleep_since = 0;         ///< by the number of the step; 0 when awake
    const char* doing = "begins";
  };

  [[nodiscard]] static bool CanGoOn(const Thread& thread);
  [[nodiscard]] std::size_t Pick(bool current_goes_on);
  void Yield(bool goes_on);

  Choose choose_;
  bool trace_;
  std::deque<Thread> threads_;
  std::size_t current_ = kNone;
  std::size_t next_ = kNone;
  int steps_ = 0;
  bool endless_ = false;
  std::vector<std::size_t> options_;
};

}  // namespace zor::schedules
