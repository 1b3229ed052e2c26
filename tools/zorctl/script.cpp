#include "tools/zorctl/script.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
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

void AppendUtf8(std::string& text, char32_t code) {
  const auto append = [&](char32_t bits) { text += static_cast<char>(bits); };
  const auto append_rest = [&](unsigned shift) { append(0x80U | (code >> shift & 0x3FU)); };
  if (code < 0x80) {
    append(code);
  } else if (code < 0x800) {
    append(0xC0U | code >> 6U);
    append_rest(0);
  } else if (code < 0x10000) {
    append(0xE0U | code >> 12U);
    append_rest(6);
    append_rest(0);
  } else {
    append(0xF0U | code >> 18U);
    append_rest(12);
    append_rest(6);
    append_rest(0);
  }
}

/// `low` is the place of a unit's low byte: 0 or 1.
std::string FromUtf16(std::span<const std::uint8_t> bytes, std::size_t low) {
  if (bytes.size() % 2 != 0) throw ScriptError("the file is UTF-16, but ends in half a character");
  const auto unit = [&](std::size_t i) {
    return static_cast<char32_t>(bytes[i + low] | bytes[i + 1 - low] << 8U);
  };
  constexpr char32_t kReplacement = 0xFFFD;
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t code = unit(i);
    const bool leads = code >= 0xD800 && code < 0xDC00 && i + 3 < bytes.size();
    if (leads && unit(i + 2) >= 0xDC00 && unit(i + 2) < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10U) + (unit(i + 2) - 0xDC00);
      i += 2;
    } else if (code >= 0xD800 && code < 0xE000) {
      code = kReplacement;
    }
    AppendUtf8(text, code);
  }
  return text;
}

}  // namespace

std::string ToScriptText(std::span<const std::uint8_t> file) {
  const bool marked = file.size() >= 2;
  if (marked && file[0] == 0xFF && file[1] == 0xFE) return FromUtf16(file.subspan(2), 0);
  if (marked && file[0] == 0xFE && file[1] == 0xFF) return FromUtf16(file.subspan(2), 1);
  return {file.begin(), file.end()};
}

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
