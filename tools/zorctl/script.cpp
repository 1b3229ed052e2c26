#include "tools/zorctl/script.h"

#include <fmt/core.h>

#include <utility>

namespace zor::ctl {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r";

/// Takes one word from the front of `rest`.
std::string TakeWord(std::string_view& rest) {
  std::string word;
  char quote = 0;
  std::size_t i = 0;
  for (; i < rest.size(); ++i) {
    const char c = rest[i];
    if (quote == 0 && kBlanks.find(c) != std::string_view::npos) break;
    if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (quote != 0 && c == quote) {
      quote = 0;
    } else if (quote == '"' && c == '\\' && i + 1 < rest.size() &&
               (rest[i + 1] == '"' || rest[i + 1] == '\\')) {
      word += rest[++i];
    } else {
      word += c;
    }
  }
  if (quote != 0) throw ScriptError(fmt::format("the quotation mark {} is not closed", quote));
  rest.remove_prefix(i);
  return word;
}

}  // namespace

std::vector<std::string> SplitWords(std::string_view line) {
  std::vector<std::string> words;
  for (;;) {
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    if (line.empty() || line.front() == '#') return words;
    words.push_back(TakeWord(line));
  }
}

std::vector<ScriptLine> ReadScript(std::istream& script) {
  std::vector<ScriptLine> lines;
  std::string text;
  for (std::size_t number = 1; std::getline(script, text); ++number) {
    std::string_view line = text;
    if (number == 1 && line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
    try {
      auto words = SplitWords(line);
      if (!words.empty()) lines.push_back({number, std::move(words)});
    } catch (const ScriptError& error) {
      throw ScriptError(fmt::format("line {}: {}", number, error.what()));
    }
  }
  return lines;
}

void ReplaceVariables(std::vector<std::string>& words, std::optional<std::uint32_t> handle) {
  for (std::string& word : words) {
    if (!word.starts_with('$')) continue;
    if (word != "$handle") {
      throw ScriptError(fmt::format("{} is not known: the only variable is $handle", word));
    }
    if (!handle) throw ScriptError("$handle has no value before the first create");
    word = fmt::format("{}", *handle);
  }
}

}  // namespace zor::ctl
