// Results and notifications in words, tables and JSON.
#include "tools/zorctl/report.h"

#include <gmock/gmock.h>

#include <cmath>
#include <set>

#include "tools/zorctl/event.h"
#include "tools/zorctl/explain.h"
#include "tools/zorctl/printable.h"
#include "tools/zorctl/table.h"

namespace zor::ctl {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST(Explain, TheLibrarysResultsHaveStatusesOfTheirOwn) {
  EXPECT_EQ(StatusOf(0), kDone);
  EXPECT_EQ(StatusOf(1), kTransportFailure);
  EXPECT_EQ(StatusOf(2), kNotConnected);
  EXPECT_EQ(StatusOf(3), kUnknownAlgorithm);
  EXPECT_EQ(StatusOf(4), kServerResult);
  EXPECT_EQ(StatusOf(0xFFFFFFFF), kServerResult);
  const std::set<int> statuses{kDone,         kFailed,           kUsage,
                               kUnhealthy,    kTimedOut,         kTransportFailure,
                               kNotConnected, kUnknownAlgorithm, kServerResult};
  EXPECT_EQ(statuses.size(), 9U);
}

TEST(Explain, ACancelledCallHasAStatusAndAMemberOfItsOwn) {
  const Outcome cancelled{.result = 1, .timed_out = true};
  EXPECT_EQ(StatusOf(cancelled), kCallTimedOut);
  EXPECT_EQ(StatusOf(Outcome{.result = 1}), kTransportFailure);
  EXPECT_EQ(ToJson(InfoCall{}, cancelled)["timed_out"], true);
  EXPECT_FALSE(ToJson(InfoCall{}, {.result = 1}).contains("timed_out"));
  EXPECT_THAT(FailureText(InfoCall{}, cancelled), HasSubstr("did not reply in time"));
}

TEST(Explain, ASuccessNeedsNoAdvice) {
  EXPECT_EQ(Explain(InfoCall{}, 0).meaning, "success");
  EXPECT_THAT(Explain(InfoCall{}, 0).advice, IsEmpty());
}

TEST(Explain, EveryFailureSaysWhatToDo) {
  for (const ZorResult result : {1U, 2U, 3U, 16U, 99U}) {
    EXPECT_THAT(Explain(InfoCall{}, result).meaning, Not(IsEmpty()));
    EXPECT_THAT(Explain(InfoCall{}, result).advice, Not(IsEmpty()));
  }
  EXPECT_THAT(Explain(InfoCall{}, 2).advice, HasSubstr("zorctl doctor"));
  EXPECT_THAT(Explain(SetCall{}, 3).advice, HasSubstr("zorctl list"));
}

TEST(Explain, ResultOneDependsOnTheCall) {
  EXPECT_THAT(Explain(BlobGetCall{}, 1).advice, HasSubstr("one reply of 1024 bytes"));
  EXPECT_THAT(Explain(ListCall{}, 1).advice, HasSubstr("zorctl doctor"));
  EXPECT_THAT(Explain(InfoCall{}, 1).advice, Not(HasSubstr("zorctl doctor")));
}

TEST(Explain, AnyOtherResultIsTheServersOwn) {
  // Also those that the simulated server has: a real one may mean something else.
  for (ZorResult result = 4; result <= 40; ++result) {
    EXPECT_EQ(Explain(InfoCall{}, result).meaning, "the server's own result") << result;
  }
}

TEST(Report, AFailureNamesTheExportAndTheResult) {
  EXPECT_EQ(FailureText(ControlCall{Control::kStart, 1}, {.result = 19}),
            "start: ZorIntfStart returned 19: the server's own result.\n"
            "What to do: see the server's documentation, for zorsim docs/simulator.md.");
}

TEST(Report, TextsAreWhatAShellTakesOn) {
  EXPECT_EQ(ToText(Outcome{0, Handle{7}}), "7\n");
  EXPECT_EQ(ToText(Outcome{0, Status{3}}), "3\n");
  EXPECT_EQ(ToText(Outcome{0, ParameterValue{"gain", 0.1F}}), "0.1\n");
  EXPECT_EQ(ToText(Outcome{0, {}}), "");
  EXPECT_EQ(ToText(Outcome{0, Block{"b", {1, 2}, "file"}}), "");
}

TEST(Report, ListsShowWhereANameIsMissing) {
  EXPECT_EQ(ToText(Outcome{0, NameList{"general", std::nullopt}}),
            "ID  NAME\n 0  general\n 1  (not present here)\n");
  EXPECT_EQ(ToText(Outcome{0, NameList{}}), "ID  NAME\n");
}

TEST(Report, InformationIsShownInBothBases) {
  EXPECT_EQ(ToText(Outcome{0, Information{{1, 0, 4294967295U, 255}}}),
            "WORD        VALUE  HEX\n"
            "info0           1  0x00000001\n"
            "info1           0  0x00000000\n"
            "info2  4294967295  0xFFFFFFFF\n"
            "info3         255  0x000000FF\n");
}

TEST(Report, JsonHoldsTheCallTheResultAndThePayload) {
  EXPECT_EQ(ToLine(ToJson(CreateCall{"general", {}}, {0, Handle{7}})),
            R"({"command":"create","export":"ZorIntfCreate","result":0,"meaning":"success",)"
            R"("handle":7})"
            "\n");
  const Json failed = ToJson(GetCall{1, "x"}, {21, {}});
  EXPECT_EQ(failed["result"], 21);
  EXPECT_TRUE(failed.contains("advice"));
  EXPECT_FALSE(failed.contains("value"));
}

TEST(Report, JsonKeepsAFloatsShortestText) {
  EXPECT_THAT(ToLine(ToJson(GetCall{1, "x"}, {0, ParameterValue{"x", 0.1F}})),
              HasSubstr(R"("value":0.1})"));
  EXPECT_EQ(ToJson(GetCall{1, "x"}, {0, ParameterValue{"x", NAN}})["value"], "nan");
  EXPECT_EQ(ToJson(GetCall{1, "x"}, {0, ParameterValue{"x", -INFINITY}})["value"], "-inf");
  EXPECT_EQ(ToJson(GetCall{1, "x"}, {0, ParameterValue{"x", 3.4e38F}})["value"], 3.4e38);
}

TEST(Report, JsonTakesNamesThatAreNotUtf8) {
  EXPECT_THAT(ToLine(ToJson(ListCall{}, {0, NameList{"\xF6", std::nullopt}})),
              HasSubstr("\"names\":[\"\xEF\xBF\xBD\",null]"));
}

TEST(Report, JsonEscapesWhatATerminalObeys) {
  const Json json{{"name", "\x1B\x7F\xC2\x9B\xE2\x80\xAE\xC3\xA4"}};
  EXPECT_EQ(ToLine(json), "{\"name\":\"\\u001b\\u007f\\u009b\\u202e\xC3\xA4\"}\n");
  EXPECT_EQ(Json::parse(ToDocument(json)), json);
}

TEST(Printable, KeepsTextOfAnyScript) {
  const std::string text = "a\\ \xC3\xA4 \xE2\x98\x83 \xF0\x9F\x8E\xB5";
  EXPECT_EQ(Printable(text), text);
}

TEST(Printable, ShowsWhatATerminalObeys) {
  EXPECT_EQ(Printable("\x1B[31m\r\n\x7F\t"), R"(\x1B[31m\x0D\x0A\x7F\x09)");
  EXPECT_EQ(Printable("\xC2\x9B"
                      "31m \xE2\x80\xAE"),
            R"(\u009B31m \u202E)");
}

TEST(Printable, ShowsBytesThatAreNotUtf8) {
  EXPECT_EQ(Printable("\xF6\xC3"), R"(\xF6\xC3)");
  // Longer than they need be, a surrogate, and beyond the last character.
  EXPECT_EQ(Printable("\xC0\x9B"), R"(\xC0\x9B)");
  EXPECT_EQ(Printable("\xE0\x82\x9B"), R"(\xE0\x82\x9B)");
  EXPECT_EQ(Printable("\xED\xA0\x80"), R"(\xED\xA0\x80)");
  EXPECT_EQ(Printable("\xF4\x90\x80\x80"), R"(\xF4\x90\x80\x80)");
  EXPECT_EQ(Printable("\xE2\x98"
                      "a"),
            R"(\xE2\x98a)");
}

TEST(Report, TextsOfAServerAreShownNotObeyed) {
  EXPECT_EQ(ToText(Outcome{0, NameList{"\x1B[2J"}}), "ID  NAME\n 0  \\x1B[2J\n");
  const SeenEvent event{.time = {}, .type = 4, .text = "\x1B]0;x\x07"};
  EXPECT_THAT(ToText(event), HasSubstr(R"("\x1B]0;x\x07")"));
}

TEST(Report, JsonOfABlockHasItsBytesOrItsFile) {
  const Json shown = ToJson(BlobGetCall{1, "b", {}}, {0, Block{"b", {1, 255}, {}}});
  EXPECT_EQ(shown["bytes"], (std::vector<int>{1, 255}));
  EXPECT_EQ(shown["size"], 2);
  const Json written = ToJson(BlobGetCall{1, "b", "f"}, {0, Block{"b", {1, 255}, "f"}});
  EXPECT_EQ(written["file"], "f");
  EXPECT_FALSE(written.contains("bytes"));
}

TEST(Report, HexDumpsHaveSixteenBytesALine) {
  std::vector<std::uint8_t> bytes;
  for (std::uint8_t i = 0; i < 18; ++i) bytes.push_back(static_cast<std::uint8_t>(0x30 + i));
  bytes[1] = 0;
  bytes[17] = 0xFF;
  EXPECT_EQ(HexDump(bytes),
            "00000000  30 00 32 33 34 35 36 37 38 39 3a 3b 3c 3d 3e 3f  |0.23456789:;<=>?|\n"
            "00000010  40 ff                                            |@.|\n");
  EXPECT_EQ(HexDump({}), "");
}

TEST(Table, ColumnsAreAsWideAsTheirWidestCell) {
  Table table({"NAME", "N", "X"});
  table.Add({"\xC3\xA4\xC3\xB6\xC3\xBC", "7", "a"});
  table.Add({"longer", "10", ""});
  EXPECT_EQ(table.ToText(), "NAME     N  X\n\xC3\xA4\xC3\xB6\xC3\xBC      7  a\nlonger  10\n");
}

// --- Notifications

constexpr LocalTime kTime{.year = 2024,
                          .month = 5,
                          .day = 1,
                          .hour = 9,
                          .minute = 8,
                          .second = 7,
                          .millisecond = 6,
                          .offset_minutes = -210};

SeenEvent Seen(const Event& event, const LocalTime& time = kTime) { return Copy(event, time); }

TEST(Event, KeepsItsTextWhenTheOriginalIsGone) {
  std::string text = "text";
  const SeenEvent seen = Seen({.type = 5, .flag = {}, .value = 257, .text = text});
  text = "gone";
  EXPECT_EQ(seen.text, "text");
  EXPECT_EQ(seen.value, 257U);
  EXPECT_EQ(seen.flag, std::nullopt);
}

TEST(Event, IsALine) {
  EXPECT_EQ(ToText(Seen({.type = 5, .flag = {}, .value = 257, .text = "text"})),
            "09:08:07.006  type 5  value 257  \"text\"\n");
  EXPECT_EQ(ToText(Seen({.type = 2, .flag = true, .value = {}, .text = {}})),
            "09:08:07.006  type 2  flag true\n");
  EXPECT_EQ(ToText(Seen({.type = 255, .flag = {}, .value = {}, .text = {}})),
            "09:08:07.006  type 255\n");
}

TEST(Event, IsADocumentWithTheWholeTime) {
  EXPECT_EQ(ToLine(ToJson(Seen({.type = 4, .flag = true, .value = {}, .text = "text"}))),
            R"({"time":"2024-05-01T09:08:07.006-03:30","type":4,"flag":true,"text":"text"})"
            "\n");
  LocalTime east = kTime;
  east.offset_minutes = 120;
  EXPECT_EQ(ToJson(Seen({.type = 1, .flag = {}, .value = 1, .text = {}}, east))["time"],
            "2024-05-01T09:08:07.006+02:00");
}

}  // namespace
}  // namespace zor::ctl
