#include "discovery/text.h"

#include <gtest/gtest.h>

#include "tests/support/text.h"

namespace zor {
namespace {

TEST(Text, WhiteSpaceIsUnicodes) {
  for (const wchar_t c :
       {L'\t', L'\n', L'\v', L'\f', L'\r', L' ', L'\x85', L'\xA0', L'\x1680', L'\x2000', L'\x200A',
        L'\x2028', L'\x2029', L'\x202F', L'\x205F', L'\x3000'}) {
    EXPECT_TRUE(IsWhiteSpace(c)) << static_cast<int>(c);
  }
  for (const wchar_t c : {L'\0', L'\x08', L'\x0E', L'!', L'0', L'.', L'\x84', L'\x86', L'\x9F',
                          L'\xA1', L'\x1FFF', L'\x200B', L'\x3001'}) {
    EXPECT_FALSE(IsWhiteSpace(c)) << static_cast<int>(c);
  }
}

TEST(Text, ComparesWholeStringsAndOnlyAsciiLettersWithoutCase) {
  EXPECT_TRUE(EqualIgnoringCase("general", "GENERAL"));
  EXPECT_TRUE(EqualIgnoringCase("", ""));
  EXPECT_FALSE(EqualIgnoringCase("general", "genera"));
  EXPECT_FALSE(EqualIgnoringCase("genera", "general"));
  EXPECT_FALSE(EqualIgnoringCase("", "g"));
  // Bytes that differ by the same bit without being letters.
  EXPECT_FALSE(EqualIgnoringCase("[@`", "{`@"));
  EXPECT_FALSE(EqualIgnoringCase("\xC3\xA4", "\xC3\x84"));
  EXPECT_TRUE(EqualIgnoringCase("\xC3\xA4z", "\xC3\xA4Z"));

  EXPECT_TRUE(EqualIgnoringCase(L"swc\\ven_zor&cid_apo", L"SWC\\VEN_ZOR&CID_APO"));
  EXPECT_FALSE(EqualIgnoringCase(L"\x00E4", L"\x00C4"));
  EXPECT_FALSE(EqualIgnoringCase(L"ID",
                                 L"\x0131"
                                 L"d"));
}

TEST(Text, FindsAPartAnywhereInAnyCase) {
  EXPECT_TRUE(ContainsIgnoringCase(L"zorapo.inf_", L"zorapo.inf_"));
  EXPECT_TRUE(ContainsIgnoringCase(L"C:\\ZORAPO.INF_amd64", L"zorapo.inf_"));
  EXPECT_TRUE(ContainsIgnoringCase(L"zorapozorapo.inf_", L"zorapo.inf_"));
  EXPECT_FALSE(ContainsIgnoringCase(L"zorapo.inf", L"zorapo.inf_"));
  EXPECT_FALSE(ContainsIgnoringCase(L"zorapo.inf?", L"zorapo.inf_"));
  EXPECT_FALSE(ContainsIgnoringCase(L"", L"zorapo.inf_"));
}

TEST(Text, ConvertsUpToTheFirstNul) {
  EXPECT_EQ(ToWide("listen \xE2\x82\xAC"), L"listen \x20AC");
  EXPECT_EQ(ToUtf8(L"listen \x20AC"), "listen \xE2\x82\xAC");
  EXPECT_EQ(ToWide(""), L"");
  EXPECT_EQ(ToUtf8(L""), "");
  EXPECT_EQ(ToWide(std::string("ab\0cd", 5)), L"ab");
  EXPECT_EQ(ToUtf8(std::wstring(L"ab\0cd", 5)), "ab");
  EXPECT_EQ(ToWide("a\xFFz"), L"a\xFFFDz");
}

TEST(Text, IsEmptyWithoutAConversion) {
  scripted::FailConversions(true);
  EXPECT_EQ(ToWide("general"), L"");
  EXPECT_EQ(ToUtf8(L"general"), "");
  scripted::FailConversions(false);
}

}  // namespace
}  // namespace zor
