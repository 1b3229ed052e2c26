// The version in an INF file's line: as the standard library finds it, with the runtime's digits;
// and on a thread with little stack, where the standard library would overflow it.
#include <gtest/gtest.h>
#include <windows.h>

#include <cerrno>
#include <cwchar>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <string_view>

#include "discovery/inf_file.h"
#include "discovery/text.h"
#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/small_stack.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/kit/messages.h"

namespace zor::testing {
namespace {

constexpr wchar_t kLastCharacter = 0xFFFF;

/// The runtime's conversion of the text's beginning, and the characters that it takes.
struct Number {
  unsigned long value;
  std::ptrdiff_t length;
};

Number RuntimeNumber(const std::wstring& text) {
  wchar_t* end = nullptr;
  const unsigned long value = std::wcstoul(text.c_str(), &end, 10);
  return {value, end - text.c_str()};
}

TEST(Digits, AreThoseOfTheRuntimesConversion) {
  for (wchar_t character = 1; character != kLastCharacter; ++character) {
    const auto [value, length] = RuntimeNumber({L'1', character});
    EXPECT_EQ(DigitValue(character), length == 2 ? static_cast<int>(value) - 10 : -1)
        << static_cast<unsigned>(character);
  }
}

/// The version that the standard library finds in a line, its numbers by the runtime.
std::optional<VersionQuad> StandardVersion(const std::wstring& line) {
  static const std::wregex pattern(LR"(([0-9]\d*)(\.([0-9]\d*)){3})",
                                   std::regex_constants::ECMAScript | std::regex_constants::icase);
  std::wsmatch match;
  if (!std::regex_search(line, match, pattern)) return std::nullopt;
  std::wstring text = match.str();
  VersionQuad version = {};
  for (std::uint16_t& part : version) {
    part = static_cast<std::uint16_t>(RuntimeNumber(text).value);
    text.erase(0, text.find(L'.') + 1);
  }
  return version;
}

TEST(VersionInLine, IsTheStandardOneForEveryCharacter) {
  for (wchar_t character = 1; character != kLastCharacter; ++character) {
    for (const std::wstring& line :
         {std::wstring{L'7', character} + L".2.3.4.5", character + std::wstring(L"1.2.3.4"),
          std::wstring(L"1.2.") + character + L"3.4.5.6", std::wstring(L"1.2.3.4") + character}) {
      EXPECT_EQ(FindVersion(line), StandardVersion(line)) << static_cast<unsigned>(character);
    }
  }
}

TEST(VersionInLine, IsTheStandardOneForRandomLines) {
  // Digits of every kind that the runtime has: its conversion knows Arabic ones, not the others.
  constexpr std::wstring_view kCharacters = L"0129....  ,;a\u0663\u00B2\u07C4\uFF15\u6F22";
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same lines each time
  for (int i = 0; i < 200'000; ++i) {
    std::wstring line(random() % 24, L' ');
    for (wchar_t& character : line) character = kCharacters[random() % kCharacters.size()];
    ASSERT_EQ(FindVersion(line), StandardVersion(line)) << ToUtf8(line);
  }
}

std::string Many(std::size_t count, std::string_view text) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

class LongLineTest : public ::testing::Test {
 protected:
  LongLineTest() {
    wmi_.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                         {L"DriverVersion", {.text = L"1.0.0.5"}}});
  }

  /// True when an enumeration on a small stack finds the algorithm library of this package. Takes
  /// the package away again.
  bool Finds(const std::filesystem::path& package) {
    Machine::AddLibrary(package, L"K270502.dll", L"zor_test_answers.dll");
    ZorNameList list = {};
    server_.Answer(Build(Reply{.enum_result = Reply::Names{2, {{"private", "general"}}}}));
    EXPECT_TRUE(RunOnSmallStack([&] {
      const Com com;
      EXPECT_EQ(library_->Enum(2, &list), ZOR_SUCCESS);
    }));
    // The server's two names without a library, one slot with it.
    const bool found = list.count == 1;
    server_.Answer(Build(Reply{}));
    EXPECT_EQ(library_->Enum(0, &list), ZOR_SUCCESS);
    std::filesystem::remove_all(package);
    return found;
  }

  Com com_;
  WmiStandIn wmi_;
  Machine machine_;
  RequestServer server_;
  LoadedLibrary library_;
};

TEST_F(LongLineTest, StatesTheVersionOfItsPackage) {
  for (const std::string& line : {
           "1.0.0.5 ; " + Many(513, "\xE6\xBC\xA2"),
           Many(600, ".") + "1.0.0.5",
           Many(600, "\xFF") + "1.0.0.5",
           Many(1'000'000, "\xE6\xBC\xA2") + "1.0.0.5",
           Many(100'000, "7") + ",1.0.0.5",
           Many(100'000, "0") + "1.0.0.5",
           "1" + Many(100'000, "\xD9\xA3") + ",1.0.0.5",
       }) {
    EXPECT_TRUE(Finds(machine_.AddPackageOfVersion(L"zorapo.inf_1", line))) << line.size();
  }
}

TEST_F(LongLineTest, WithoutAVersionIsPassedOver) {
  machine_.AddPackageOfVersion(L"zorapo.inf_1", Many(100'000, "7"));
  machine_.AddPackageOfVersion(L"zorapo.inf_2", Many(600, "."));
  machine_.AddPackageOfVersion(L"zorapo.inf_3", Many(600, "\xFF"));
  machine_.AddPackageOfVersion(L"zorapo.inf_4", Many(1'000'000, "\xE6\xBC\xA2"));
  EXPECT_TRUE(Finds(machine_.AddPackageOfVersion(L"zorapo.inf_5", "1.0.0.5")));
}

}  // namespace
}  // namespace zor::testing
