// The specifiers of strings in the log's two forms: a line is measured and then written, and both
// must take them for the same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "interface/debug_log.h"
#include "tests/integration/support/debug_capture.h"

namespace zor::testing {
namespace {

using ::testing::ElementsAre;

const std::string kText(300, 'n');
const std::wstring kWide(300, L'n');

/// A specifier, and whether it stands for a wide string.
using Specifier = std::tuple<const wchar_t*, bool>;

class WideLog : public ::testing::TestWithParam<Specifier> {};

TEST_P(WideLog, WritesAStringWhole) {
  const auto [specifier, is_wide] = GetParam();
  const std::wstring format = std::wstring(specifier) + L"|\n";
  const DebugCapture log;
  if (is_wide) {
    Log(format.c_str(), kWide.c_str());
  } else {
    Log(format.c_str(), kText.c_str());
  }
  EXPECT_THAT(log.Mine(), ElementsAre("[zor] " + kText + "|\n"));
}

INSTANTIATE_TEST_SUITE_P(Specifiers, WideLog,
                         ::testing::Values(Specifier(L"%s", true), Specifier(L"%S", false),
                                           Specifier(L"%ls", true), Specifier(L"%hs", false)));

/// Forwards without the compiler's check of the format, which does not know these.
void LogNarrow(const char* format, const void* text) {
  void (*const log)(const char*, ...) noexcept = Log;
  log(format, text);
}

TEST(NarrowLog, WritesAStringWhole) {
  const DebugCapture log;
  LogNarrow("%s|\n", kText.c_str());
  LogNarrow("%S|\n", kWide.c_str());
  LogNarrow("%ls|\n", kWide.c_str());
  LogNarrow("%hs|\n", kText.c_str());
  const std::string line = "[zor] " + kText + "|\n";
  EXPECT_THAT(log.Mine(), ElementsAre(line, line, line, line));
}

}  // namespace
}  // namespace zor::testing
