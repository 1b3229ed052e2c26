/// The debugger output of the processes of a session, as a debug viewer sees it.
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

/// Whose output: of the processes in this session, or of those in session 0, where services run.
enum class DebugScope : std::uint8_t { kSession, kGlobal };

/// The system's shared buffer for debugger output, of which each session has one. There can be one
/// viewer of each at a time. Programs of any rights can write to it: packaged applications, and
/// those of low integrity.
class DebugViewer {
 public:
  /// Takes the buffer. Throws std::runtime_error, with a sentence for people, when another viewer
  /// has it, and std::system_error when the system refuses.
  explicit DebugViewer(DebugScope scope);
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
