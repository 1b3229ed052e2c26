/// A function on a stack of its own, which runs a piece at a time.
#pragma once

#include <ucontext.h>

#include <cstddef>
#include <functional>
#include <memory>

namespace zor::schedules {

class Fiber {
 public:
  explicit Fiber(std::function<void()> body);
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;
  /// Of one that has not ended the stack is given up, and what is on it stays as it is.
  ~Fiber();

  /// Runs it until it suspends itself or ends. Not for fibers to call.
  void Resume();

  /// Leaves the fiber that runs, until it is resumed.
  static void Suspend();

  [[nodiscard]] bool ended() const { return ended_; }

 private:
  using Stack = std::unique_ptr<std::byte[]>;
  static void Main();

  std::function<void()> body_;
  Stack stack_;
  bool ended_ = false;
  ucontext_t context_ = {};
  ucontext_t caller_ = {};
  const void* caller_stack_ = nullptr;  ///< as AddressSanitizer knows it
  std::size_t caller_size_ = 0;
};

}  // namespace zor::schedules
