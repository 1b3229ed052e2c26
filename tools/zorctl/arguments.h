/// From the words of a command line, or of a script's line, to a command.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "tools/zorctl/command.h"

namespace zor::ctl {

struct Request {
  Command command;
  bool json = false;
  std::uint32_t timeout_ms = 0;  ///< of a call; 0: without end
};

/// A text that was asked for: help, or the version.
struct HelpText {
  std::string text;
};

/// Why the words are no command, naming the word or argument, and where to look.
struct UsageError {
  std::string text;
};

using ParsedArguments = std::variant<Request, HelpText, UsageError>;

/// In a script, the remote calls only.
enum class Scope : std::uint8_t { kShell, kScript };

/// `words` without the program's name, in UTF-8.
[[nodiscard]] ParsedArguments ParseArguments(std::vector<std::string> words, Scope scope);

}  // namespace zor::ctl
