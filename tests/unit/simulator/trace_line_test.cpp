// The lines of the trace.
#include "simulator/trace_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "simulator/message_builder.h"
#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using ::testing::HasSubstr;

std::string Line(std::span<const std::uint8_t> bytes, TraceKind kind = TraceKind::kReceived) {
  return TraceLine({.time = std::chrono::microseconds(1500),
                    .client = 3,
                    .kind = kind,
                    .bytes = bytes,
                    .size = bytes.size()});
}

TEST(TraceLine, TellsTimeClientPipeAndDirection) {
  EXPECT_EQ(TraceLine({.time = std::chrono::microseconds(2500), .client = 7}),
            R"({"ms":2.5,"client":7,"pipe":"request","direction":"connected"})");
  EXPECT_EQ(TraceLine({.client = 8, .pipe = PipeKind::kNotify, .kind = TraceKind::kDisconnected}),
            R"({"ms":0.0,"client":8,"pipe":"notify","direction":"disconnected"})");
}

TEST(TraceLine, DecodesRequests) {
  EXPECT_EQ(Line(Float("ZorIntfSet", 5, "gain", 0.5F)),
            R"({"ms":1.5,"client":3,"pipe":"request","direction":"in","size":96,"message":)"
            R"({"func_name":"ZorIntfSet","handle":5,"status":7,)"
            R"("float_param":{"name":"gain","value":0.5}}})");
  EXPECT_THAT(Line(Text("ZorIntfCreate", 0, "general")),
              HasSubstr(R"("text_param":{"name":"general"})"));
  EXPECT_THAT(Line(Enum(2)), HasSubstr(R"("enum_type":2)"));
  EXPECT_THAT(Line(Block("ZorIntfSetSerialized", 1, "b", Bytes{0, 255})),
              HasSubstr(R"("blob_param":{"name":"b","size":2,"data":"00ff"})"));
}

TEST(TraceLine, DecodesReplies) {
  const Bytes reply = BuildReply({.result = 5,
                                  .information = {{1, 2, 3, 4}},
                                  .names = {{"a", "b"}},
                                  .status = 4,
                                  .handle = 9,
                                  .blob = Blob{"x", {1}}});
  const std::string line = Line(reply, TraceKind::kSent);
  EXPECT_THAT(line, HasSubstr(R"("direction":"out")"));
  EXPECT_THAT(line, HasSubstr(R"("handle":9,"result":5,"status":4,"server_info":[1,2,3,4],)"
                              R"("enum_result":{"count":2,"names":["a","b"]})"));
  EXPECT_THAT(line, HasSubstr(R"("blob_result":{"name":"x","size":1,"data":"01"})"));
}

TEST(TraceLine, DecodesEveryNotification) {
  const char* expected[] = {
      R"({"event_type":0,"payload_type":1,"value":true})",
      R"({"event_type":1,"payload_type":2,"value":8})",
      R"({"event_type":2,"payload_type":3,"value":1})",
      R"({"event_type":3,"payload_type":4,"value":8})",
      R"({"event_type":4,"payload_type":5,"value":1,"text":"t"})",
      R"({"event_type":5,"payload_type":6,"value":8,"text":"t"})",
      R"({"event_type":6,"payload_type":0})",
  };
  std::uint8_t type = 0;
  for (const char* event : expected) {
    const Bytes bytes = BuildNotification({.type = type, .flag = true, .value = 8, .text = "t"});
    EXPECT_THAT(Line(bytes), HasSubstr(std::string("\"event\":") + event));
    ++type;
  }
}

TEST(TraceLine, WritesWhatIsNoMessageInHex) {
  EXPECT_THAT(Line(Bytes{0xDE, 0xAD, 0x00, 0x01, 0x02}),
              HasSubstr(R"("size":5,"hex":"dead000102"})"));
  EXPECT_THAT(Line({}), HasSubstr(R"("size":0,"hex":""})"));
}

TEST(TraceLine, CutsLongHex) {
  const std::string line = Line(Bytes(5000, 0xFF));
  EXPECT_THAT(line, HasSubstr(std::string(2048, 'f') + "...\""));
}

TEST(TraceLine, AMessageThatWasNotKeptWholeIsHex) {
  const Bytes bytes = Plain("ZorIntfGetInfo");
  const std::string line = TraceLine(
      {.client = 1, .kind = TraceKind::kReceived, .bytes = bytes, .size = bytes.size() + 1});
  EXPECT_THAT(line, HasSubstr("\"hex\""));
}

TEST(TraceLine, StaysJsonForTextsOfAnyEncoding) {
  EXPECT_THAT(Line(Text("ZorIntfCreate", 0, "\xFF\"\n")),
              HasSubstr("\"name\":\"\xEF\xBF\xBD\\\"\\n\""));
  EXPECT_THAT(Line(Float("ZorIntfSet", 1, "gain", std::numeric_limits<float>::quiet_NaN())),
              HasSubstr(R"("value":null)"));
}

}  // namespace
}  // namespace zor::sim
