// The text of an INF file, up to the version that it states.
#include <regex>
#include <sstream>
#include <stdexcept>

#include "discovery/driver_package.h"
#include "discovery/inf_file.h"
#include "discovery/text.h"
#include "fuzz/harness.h"
#include "fuzz/plain_version.h"

namespace zor::fuzz {
namespace {

std::string PlainVersionLine(const std::string& text) {
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string line = text.substr(begin, end - begin);
    if (line.find("DriverVer") != std::string::npos) return line;
    begin = end + 1;
  }
  return {};
}

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

/// The length of four numbers with dots between them at `at`; 0 when there are none.
std::size_t MatchLength(const std::wstring& line, std::size_t at) {
  const std::size_t begin = at;
  for (int part = 0; part < 4; ++part) {
    if (part != 0 && (at == line.size() || line[at++] != L'.')) return 0;
    const std::size_t digits = at;
    while (at < line.size() && IsDigit(line[at])) ++at;
    if (at == digits) return 0;
  }
  return at - begin;
}

PlainVersion PlainFind(const std::wstring& line) {
  std::size_t run = 0;
  for (const wchar_t c : line) {
    run = IsDigit(c) || c == L'.' || c > L'\x7F' ? run + 1 : 0;
    if (run > 512) return {.outcome = PlainVersion::kTooLong};
  }
  for (std::size_t at = 0; at < line.size(); ++at) {
    const std::size_t length = MatchLength(line, at);
    if (length != 0) return PlainParse(line.substr(at, length));
  }
  return {.outcome = PlainVersion::kNone};
}

PlainVersion ProductFind(const std::wstring& line) {
  static const DriverStore store;
  try {
    const auto version = FindVersion(line, store.version_pattern);
    if (!version) return {.outcome = PlainVersion::kNone};
    return {.version = *version};
  } catch (const std::regex_error&) {
    return {.outcome = PlainVersion::kTooLong};
  } catch (const std::out_of_range&) {
    return {.outcome = PlainVersion::kOutOfRange};
  } catch (const std::invalid_argument&) {
    return {.outcome = PlainVersion::kInvalid};
  }
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  std::istringstream inf(text);
  const std::string line = zor::FindVersionLine(inf);
  zor::fuzz::Require(line == zor::fuzz::PlainVersionLine(text), "another line");
  const std::wstring wide = zor::ToWide(line);
  zor::fuzz::Require(zor::fuzz::ProductFind(wide) == zor::fuzz::PlainFind(wide), "another version");
  return 0;
}
