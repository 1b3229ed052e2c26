#include "discovery/driver_version.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace zor {
namespace {

using ::testing::ElementsAre;

TEST(SplitString, HasOnePieceMoreThanDelimiters) {
  EXPECT_THAT(SplitString(L"1.2.3", L'.', false), ElementsAre(L"1", L"2", L"3"));
  EXPECT_THAT(SplitString(L"", L'.', false), ElementsAre(L""));
  EXPECT_THAT(SplitString(L"1.", L'.', false), ElementsAre(L"1", L""));
  EXPECT_THAT(SplitString(L".1", L'.', false), ElementsAre(L"", L"1"));
  EXPECT_THAT(SplitString(L"..", L'.', false), ElementsAre(L"", L"", L""));
  EXPECT_THAT(SplitString(L"a b", L',', false), ElementsAre(L"a b"));
}

TEST(SplitString, TrimsEveryPieceWhenAsked) {
  EXPECT_THAT(SplitString(L" 1 .\t2\n. 3 4 ", L'.', true), ElementsAre(L"1", L"2", L"3 4"));
  EXPECT_THAT(SplitString(L" . \x3000\xA0 ", L'.', true), ElementsAre(L"", L""));
  EXPECT_THAT(SplitString(L" 1 . 2 ", L'.', false), ElementsAre(L" 1 ", L" 2 "));
}

struct Parsed {
  const wchar_t* text;
  VersionQuad version;
};

TEST(ParseVersion, TakesFourParts) {
  for (const auto& [text, version] : {
           Parsed{L"1.2.3.4", {1, 2, 3, 4}},
           Parsed{L" 1 . 2 .\t3\r\n. 4 ", {1, 2, 3, 4}},
           Parsed{L"0.0.0.0", {}},
           Parsed{L"0001.00000000000000000000002.3.4", {1, 2, 3, 4}},
           Parsed{L"65535.0.0.65535", {65535, 0, 0, 65535}},
       }) {
    EXPECT_EQ(ParseVersion(text), version) << text;
  }
}

TEST(ParseVersion, AnyOtherNumberOfPartsIsNoVersion) {
  for (const auto* text :
       {L"", L"1", L"1.2.3", L"1.2.3.4.5", L"1.2.3.4.", L"x", L"x.y.z", L"SWC\\VEN_ZOR&CID_APO"}) {
    EXPECT_EQ(ParseVersion(text), VersionQuad{}) << text;
  }
}

TEST(ParseVersion, KeepsTheLowSixteenBits) {
  for (const auto& [text, version] : {
           Parsed{L"1.2.3.65536", {1, 2, 3, 0}},
           Parsed{L"1.2.3.70000", {1, 2, 3, 4464}},
           Parsed{L"4294967295.1.1.1", {65535, 1, 1, 1}},
       }) {
    EXPECT_EQ(ParseVersion(text), version) << text;
  }
}

TEST(ParseVersion, TakesASignAndStopsAtWhatIsNoDigit) {
  for (const auto& [text, version] : {
           Parsed{L"+1.2.3.4", {1, 2, 3, 4}},
           Parsed{L"-1.-0.-65535.-4294967295", {65535, 0, 1, 1}},
           Parsed{L"1a.2-3.3 4.0x10", {1, 2, 3, 0}},
       }) {
    EXPECT_EQ(ParseVersion(text), version) << text;
  }
}

TEST(ParseVersion, TakesTheDigitsOfOtherScripts) {
  for (const auto& [text, version] : {
           Parsed{L"1\x0663.\x0E59\x0E50.3.\xFF14", {13, 90, 3, 4}},
           Parsed{L"\x0669.\x1819.1\xFF10.\x0966", {9, 9, 10, 0}},
           // Not those that the runtime's conversion does not know: a superscript, N'Ko, Tamil.
           Parsed{L"1\xB2.2\x07C0.3\x0BE6.4", {1, 2, 3, 4}},
           Parsed{L"1\x065F.2\x066A.3\x181A.4", {1, 2, 3, 4}},
       }) {
    EXPECT_EQ(ParseVersion(text), version);
  }
}

template <typename Error>
std::string WhatIsThrown(const wchar_t* text) {
  try {
    static_cast<void>(ParseVersion(text));
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing";
}

TEST(ParseVersion, RefusesAPartThatBeginsWithNoNumber) {
  for (const auto* text : {L"1..3.4", L"...", L"a.2.3.4", L"1.2.3.", L"1.2.3.-", L"+ 1.2.3.4",
                           L"--1.2.3.4", L"1. .3.4", L"1.2.3.\xB9"}) {
    EXPECT_EQ(WhatIsThrown<std::invalid_argument>(text), "invalid stoul argument") << text;
  }
}

TEST(ParseVersion, RefusesWhatThirtyTwoBitsCannotHold) {
  for (const auto* text : {L"1.2.3.4294967296", L"-4294967296.1.1.1", L"1.99999999999.3.4",
                           L"18446744073709551616.1.1.1",
                           L"1.2.3.111111111111111111111111111111111111111111111111111111111"}) {
    EXPECT_EQ(WhatIsThrown<std::out_of_range>(text), "stoul argument out of range") << text;
  }
}

}  // namespace
}  // namespace zor
