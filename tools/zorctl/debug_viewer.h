/// The debugger output of every process on the machine, as a debug viewer sees it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace zor::ctl {

struct DebugMessage {
  std::uint32_t process_id = 0;
  /// As it was written, in UTF-8: usually ends in a line feed; cut at 4 KB by the system.
  std::string text;
};

/// The system's shared buffer for debugger output. There can be one viewer at a time.
class DebugViewer {
 public:
  /// Takes the buffer. Throws std::runtime_error, with a sentence for people, when another viewer
  /// has it, and std::system_error when the system refuses.
  DebugViewer();
  DebugViewer(const DebugViewer&) = delete;
  DebugViewer& operator=(const DebugViewer&) = delete;
  ~DebugViewer();

  /// The next message; nothing when `stop`, a waitable handle of the caller's, is signalled and no
  /// message is waiting any more.
  [[nodiscard]] std::optional<DebugMessage> Next(void* stop);

 private:
  struct Shared;
  std::unique_ptr<Shared> shared_;
};

}  // namespace zor::ctl
