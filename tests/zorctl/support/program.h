/// Running a program that was built beside the test, and reading what it writes.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/support/handle.h"

namespace zor::testing {

struct Finished {
  int status = -1;
  std::string out;  ///< with "\n" for line ends
  std::string err;
};

/// Who takes a program's standard output.
enum class Output : std::uint8_t { kTest, kClosed /* a pipe that nobody reads */, kNone };

/// A process with streams of its own. Ended at the latest with this object.
class Program {
 public:
  /// `file` is a name in the test's folder, or a full path; the arguments are quoted as they need
  /// it.
  Program(const std::wstring& file, const std::vector<std::wstring>& arguments,
          const std::string& input = {}, Output output = Output::kTest);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  /// Waits until standard output, or standard error, holds `text`. False when the streams end, or
  /// after a time, without it.
  [[nodiscard]] bool WaitForOutput(const std::string& text) { return WaitFor(out_, text); }
  [[nodiscard]] bool WaitForError(const std::string& text) { return WaitFor(err_, text); }

  /// Waits for the end; a program that does not come to it is ended, with a status of -1.
  [[nodiscard]] Finished Finish();

 private:
  struct Stream {
    UniqueHandle pipe;
    std::string text;
    bool ended = false;
  };

  void Read(Stream& stream);
  [[nodiscard]] bool WaitFor(Stream& stream, const std::string& text);

  UniqueHandle process_;
  SRWLOCK lock_{};
  CONDITION_VARIABLE more_{};
  Stream out_;
  Stream err_;
  UniqueHandle input_;
  std::vector<std::jthread> threads_;
};

/// Runs zorctl.exe to its end.
[[nodiscard]] Finished Zorctl(const std::vector<std::wstring>& arguments,
                              const std::string& input = {});

}  // namespace zor::testing
