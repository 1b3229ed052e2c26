// Results and notifications in words, tables and JSON.
#include "tools/zorctl/report.h"

#include <gmock/gmock.h>

#include <cmath>
#include <set>

#include "simulator/results.h"
#include "tools/zorctl/event.h"
#include "tools/zorctl/explain.h"
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

TEST(Explain, TheSimulatorsResultsAreKnownAsTheServersOwn) {
  std::set<std::string> meanings;
  for (ZorResult result = 16; result <= 30; ++result) {
    const std::string meaning = Explain(InfoCall{}, result).meaning;
    EXPECT_THAT(meaning, HasSubstr("the server's own result; from zorsim: ")) << result;
    meanings.insert(meaning);
  }
  EXPECT_EQ(meanings.size(), 15U);
  const auto state = static_cast<ZorResult>(sim::Result::kWrongState);
  EXPECT_THAT(Explain(ControlCall{}, state).meaning, HasSubstr("state does not allow the call"));
  EXPECT_EQ(Explain(InfoCall{}, 31).meaning, "the server's own result");
}

TEST(Report, AFailureNamesTheExportAndTheResult) {
  EXPECT_EQ(FailureText(ControlCall{Control::kStart, 1}, 19),
            "start: ZorIntfStart answered 19: the server's own result; from zorsim: the instance's "
            "state does not allow the call.\nWhat to do: see the server's documentation, for "
            "zorsim docs/simulator.md.");
}

TEST(Report, TextsAreWhatAShellTakesOn) {
  EXPECT_EQ(ToText(Outcome{0, Handle{7}}), "7\n");
  EXPECT_EQ(ToText(Outcome{0, Status{3}}), "3\n");
  EXPECT_EQ(ToText(Outcome{0, ParameterValue{"gain", 0.1F}}), "0.1\n");
  EXPECT_EQ(ToText(Outcome{0, {}}), "");
  EXPECT_EQ(ToText(Outcome{0, Block{"b", {1, 2}, "file"}}), "");
}

TEST(Report, ListsShowWhereANameIsMissing) {
  EXPECT_EQ(ToText(Outcome{0, NameSlots{{"general", std::nullopt}}}),
            "ID  NAME\n 0  general\n 1  (not present here)\n");
  EXPECT_EQ(ToText(Outcome{0, NameSlots{}}), "ID  NAME\n");
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
  EXPECT_THAT(ToLine(ToJson(ListCall{}, {0, NameSlots{{"\xF6", std::nullopt}}})),
              HasSubstr("\"names\":[\"\xEF\xBF\xBD\",null]"));
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

ZorEvent FullEvent(std::uint32_t type) {
  // Flag and value share their place, as do the texts.
  ZorEvent event{};
  event.type = type;
  event.data.event5.value = 0x101;
  event.data.event5.text = "text";
  return event;
}

TEST(Event, OfThePayloadWhatBelongsToTheType) {
  for (std::uint32_t type = 0; type < 8; ++type) {
    const SeenEvent seen = Copy(FullEvent(type), kTime);
    EXPECT_EQ(seen.type, type);
    EXPECT_EQ(seen.flag.has_value(), type == 0 || type == 2 || type == 4);
    EXPECT_EQ(seen.value.has_value(), type == 1 || type == 3 || type == 5);
    EXPECT_EQ(seen.text.has_value(), type == 4 || type == 5);
  }
  EXPECT_EQ(Copy(FullEvent(5), kTime).value, 0x101U);
  EXPECT_EQ(Copy(FullEvent(5), kTime).text, "text");
}

TEST(Event, IsALine) {
  EXPECT_EQ(ToText(Copy(FullEvent(5), kTime)), "09:08:07.006  type 5  value 257  \"text\"\n");
  EXPECT_EQ(ToText(Copy(FullEvent(2), kTime)), "09:08:07.006  type 2  flag true\n");
  EXPECT_EQ(ToText(Copy(FullEvent(255), kTime)), "09:08:07.006  type 255\n");
}

TEST(Event, IsADocumentWithTheWholeTime) {
  EXPECT_EQ(ToLine(ToJson(Copy(FullEvent(4), kTime))),
            R"({"time":"2024-05-01T09:08:07.006-03:30","type":4,"flag":true,"text":"text"})"
            "\n");
  LocalTime east = kTime;
  east.offset_minutes = 120;
  EXPECT_EQ(ToJson(Copy(FullEvent(1), east))["time"], "2024-05-01T09:08:07.006+02:00");
}

}  // namespace
}  // namespace zor::ctl
