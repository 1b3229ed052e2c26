/// A session script, taken apart: one command a line.
#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zor::ctl {

/// A line that cannot be taken apart.
class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ScriptLine {
  std::size_t number = 0;  ///< from 1
  std::vector<std::string> words;
};

/// Cuts a line into words at blanks and tabs. Quotation marks, double or single, keep blanks and
/// '#' in a word; a backslash stands for itself, except inside double ones before '"' and '\'. What
/// follows a '#' at the start of a word is a comment. Throws ScriptError for a quotation that does
/// not end.
[[nodiscard]] std::vector<std::string> SplitWords(std::string_view line);

/// A script's text in UTF-8, whether the file is UTF-8 or, as its byte order mark says, UTF-16.
/// Throws ScriptError for half a character of UTF-16.
[[nodiscard]] std::string ToScriptText(std::span<const std::uint8_t> file);

/// The lines that hold a command. Takes either kind of line end and skips a byte order mark. Throws
/// ScriptError, which names the line.
[[nodiscard]] std::vector<ScriptLine> ReadScript(std::istream& script);

/// Replaces every word that is "$handle" by the handle. Throws ScriptError when there is none yet,
/// and for any other word that starts with '$'.
void ReplaceVariables(std::vector<std::string>& words, std::optional<std::uint32_t> handle);

}  // namespace zor::ctl
