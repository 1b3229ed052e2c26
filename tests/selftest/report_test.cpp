// What a sighting is worth, and how it is reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tools/selftest/report.h"

namespace zor::selftest {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr Check kSame{"pipes.same", "All are alike.", "docs/a.md", "alike", "error 2", "", nullptr};
constexpr Check kOther{"pipes.other", "Wine differs.", "docs/a.md", "differs",
                       "error 1",     "error 50",      nullptr};

Sighting Saw(std::string text) {
  return {.end = Sighting::End::kSeen, .seen = std::move(text), .notes = {}};
}

TEST(Judge, WhatIsExpectedIsGoodEverywhere) {
  for (const Platform platform : {Platform::kWindows, Platform::kWine8, Platform::kOtherWine}) {
    EXPECT_EQ(Judge(kSame, Saw("error 2"), platform), Verdict::kAsExpected);
    EXPECT_EQ(Judge(kSame, Saw("error 3"), platform), Verdict::kDiffers);
  }
}

TEST(Judge, ARecordOfWineCountsOnWineOnly) {
  EXPECT_EQ(Judge(kOther, Saw("error 50"), Platform::kWindows), Verdict::kDiffers);
  EXPECT_EQ(Judge(kOther, Saw("error 50"), Platform::kWine8), Verdict::kAsRecorded);
  EXPECT_EQ(Judge(kOther, Saw("error 50"), Platform::kOtherWine), Verdict::kAsRecorded);
  EXPECT_EQ(Judge(kOther, Saw("error 7"), Platform::kWine8), Verdict::kDiffers);
}

TEST(Judge, ARecordThatNoLongerHoldsIsReported) {
  EXPECT_EQ(Judge(kOther, Saw("error 1"), Platform::kWindows), Verdict::kAsExpected);
  EXPECT_EQ(Judge(kOther, Saw("error 1"), Platform::kOtherWine), Verdict::kAsExpected);
  EXPECT_EQ(Judge(kOther, Saw("error 1"), Platform::kWine8), Verdict::kNotAsRecorded);
  EXPECT_FALSE(IsGood(Verdict::kNotAsRecorded));
}

TEST(Judge, NoAnswerIsNeverGood) {
  for (const auto end :
       {Sighting::End::kCouldNotLook, Sighting::End::kHung, Sighting::End::kCrashed}) {
    const Sighting sighting{.end = end, .seen = "error 2", .notes = {}};
    EXPECT_FALSE(IsGood(Judge(kSame, sighting, Platform::kWindows)));
    EXPECT_FALSE(IsGood(Judge(kSame, sighting, Platform::kWine8)));
  }
}

Run RunOf(const Check& check, std::string seen) {
  Run run{.about = {{"system", "Windows \"10\""}}, .limit_seconds = 7, .results = {}};
  run.results.push_back({.check = &check, .sighting = Saw(std::move(seen))});
  run.results[0].sighting.notes = {"a\\b", "c\td"};
  run.results[0].verdict = Judge(check, run.results[0].sighting, Platform::kWindows);
  return run;
}

TEST(Report, JsonHoldsEverything) {
  const auto json = nlohmann::json::parse(AsJson(RunOf(kOther, "<error> & \"50\"")));
  EXPECT_EQ(json["about"]["system"], "Windows \"10\"");
  EXPECT_EQ(json["limit_seconds"], 7);
  EXPECT_EQ(json["good"], 0);
  EXPECT_EQ(json["bad"], 1);
  const auto& check = json["checks"].at(0);
  EXPECT_EQ(check["name"], "pipes.other");
  EXPECT_EQ(check["page"], "docs/a.md");
  EXPECT_EQ(check["expected"], "error 1");
  EXPECT_EQ(check["wine8"], "error 50");
  EXPECT_EQ(check["seen"], "<error> & \"50\"");
  EXPECT_EQ(check["verdict"], "differs");
  EXPECT_EQ(check["notes"], (nlohmann::json{"a\\b", "c\td"}));
}

TEST(Report, TheListNamesTheRecordThatHoldsForWine) {
  const std::array checks{kSame, kOther};
  const auto json = nlohmann::json::parse(ListAsJson(checks));
  ASSERT_EQ(json.size(), 2U);
  EXPECT_EQ(json[0]["wine8"], "error 2");
  EXPECT_EQ(json[1]["wine8"], "error 50");
}

TEST(Report, ThePageShowsWhatWasSeenAsText) {
  const std::string page = AsHtml(RunOf(kOther, "<error> & 50"));
  EXPECT_THAT(page, HasSubstr("&lt;error&gt; &amp; 50"));
  EXPECT_THAT(page, HasSubstr("1 of 1 checks are not as expected"));
  EXPECT_THAT(page, HasSubstr("id=\"pipes.other\""));
  EXPECT_THAT(page, Not(HasSubstr("<error>")));
  EXPECT_THAT(AsHtml(RunOf(kOther, "error 1")), HasSubstr("all 1 checks are good"));
}

}  // namespace
}  // namespace zor::selftest
