// A session script of zorctl: its lines, their words, and the commands that they are.
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "fuzz/harness.h"
#include "tools/zorctl/arguments.h"
#include "tools/zorctl/script.h"

namespace zor::fuzz {
namespace {

/// The words written so that they must be read back as they are.
std::string Quote(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    line += '"';
    for (const char c : word) {
      if (c == '"' || c == '\\') line += '\\';
      line += c;
    }
    line += "\" ";
  }
  return line;
}

void Parse(std::vector<std::string> words) {
  Require(ctl::SplitWords(Quote(words)) == words, "quoted words are others");
  try {
    ctl::ReplaceVariables(words, 7);
  } catch (const ctl::ScriptError&) {
    return;
  }
  const auto parsed = ctl::ParseArguments(std::move(words), ctl::Scope::kScript);
  if (const auto* error = std::get_if<ctl::UsageError>(&parsed)) {
    Require(!error->text.empty(), "an error without a word");
  }
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::istringstream text(std::string(data, data + size));
  try {
    std::size_t last = 0;
    const auto lines = zor::ctl::ReadScript(text);
    for (const auto& line : lines) {
      zor::fuzz::Require(line.number > last && !line.words.empty(), "a line out of order");
      last = line.number;
    }
    // Every line is read, but to know a command is slow, and no line has a part in another's.
    if (!lines.empty()) zor::fuzz::Parse(lines.back().words);
  } catch (const zor::ctl::ScriptError& error) {
    zor::fuzz::Require(std::string(error.what()).starts_with("line "), "an error without its line");
  }
  return 0;
}
