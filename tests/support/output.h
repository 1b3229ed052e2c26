/// The scripted debugger output: platform/debug_output.h, keeping what was written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zor::scripted {

/// One call of a formatter.
struct Formatting {
  bool wide = false;
  int measured = 0;      ///< what the measuring call before it gave
  std::size_t size = 0;  ///< the buffer's size, in characters
};

class Output {
 public:
  void Reset();

  /// The messages since the last time, each as one call wrote it.
  [[nodiscard]] std::vector<std::string> TakeNarrow();
  [[nodiscard]] std::vector<std::wstring> TakeWide();

  /// The formatter's calls since the last time.
  [[nodiscard]] std::vector<Formatting> TakeFormattings();

  /// How often the formatter was given a size of 0, on which the runtime calls its handler for
  /// invalid parameters (here one that returns).
  [[nodiscard]] int InvalidParameterCount() const;

  /// Hands every message on, on the thread that wrote it, until the Reset(); wide ones as narrow.
  void Forward(std::function<void(std::string)> to);

  // What follows is for the scripted functions.

  void Write(std::string message);
  void Write(std::wstring message);
  /// False when the formatter must not write.
  [[nodiscard]] bool Format(Formatting formatting);

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> narrow_;
  std::vector<std::wstring> wide_;
  std::vector<Formatting> formattings_;
  int invalid_parameters_ = 0;
  std::function<void(std::string)> forward_;
};

[[nodiscard]] Output& TheOutput();

}  // namespace zor::scripted
