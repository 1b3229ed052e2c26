// The text of an INF file, up to the version that it states: found as the standard library finds
// it.
#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>

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

/// The version's pattern on a line, searched by the standard library.
struct StandardSearch {
  const std::wstring& line;
  std::wsmatch match = {};

  void Run() {
    static const std::wregex pattern(
        LR"(([0-9]\d*)(\.([0-9]\d*)){3})",
        std::regex_constants::ECMAScript | std::regex_constants::icase);
    std::regex_search(line, match, pattern);
  }
};

/// It recurses for each digit of a number.
void RunOnLargeStack(StandardSearch& search) {
  constexpr std::size_t kGigabyte = std::size_t{1} << 30;
  const auto run = [](void* argument) -> void* {
    static_cast<StandardSearch*>(argument)->Run();
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_t thread;
  Require(pthread_attr_init(&attributes) == 0 &&
              pthread_attr_setstacksize(&attributes, kGigabyte) == 0 &&
              pthread_create(&thread, &attributes, run, &search) == 0 &&
              pthread_join(thread, nullptr) == 0,
          "no thread with a large stack");
  pthread_attr_destroy(&attributes);
}

PlainVersion PlainFind(const std::wstring& line) {
  constexpr std::size_t kLongLine = 1000;
  StandardSearch search{line};
  if (line.size() < kLongLine) {
    search.Run();
  } else {
    RunOnLargeStack(search);
  }
  if (search.match.empty()) return {.outcome = PlainVersion::kNone};
  return PlainParse(search.match.str());
}

PlainVersion ProductFind(const std::wstring& line) {
  try {
    const auto version = FindVersion(line);
    if (!version) return {.outcome = PlainVersion::kNone};
    return {.version = *version};
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
