// JSON values and the lines that they stand on.
#include "simulator/json_tree.h"

#include <gtest/gtest.h>

#include <string>

namespace zor::sim {
namespace {

JsonValue Parse(std::string_view text) {
  JsonValue root;
  const auto error = ParseJson(text, root);
  EXPECT_FALSE(error) << error->message;
  return root;
}

JsonError ErrorOf(std::string_view text) {
  JsonValue root;
  const auto error = ParseJson(text, root);
  EXPECT_TRUE(error) << "no error in " << text;
  return error.value_or(JsonError{});
}

TEST(JsonTree, KnowsEveryKind) {
  const JsonValue root = Parse(R"([null, true, 5, -6, 1.5, "text", [1], {"key": 2}])");
  ASSERT_EQ(root.kind, JsonKind::kArray);
  ASSERT_EQ(root.members.size(), 8U);
  EXPECT_EQ(root.members[0].value.kind, JsonKind::kNull);
  EXPECT_TRUE(root.members[1].value.boolean);
  EXPECT_EQ(root.members[2].value.integer, 5);
  EXPECT_EQ(root.members[2].value.number, 5.0);
  EXPECT_EQ(root.members[3].value.integer, -6);
  EXPECT_EQ(root.members[4].value.kind, JsonKind::kNumber);
  EXPECT_EQ(root.members[4].value.number, 1.5);
  EXPECT_EQ(root.members[5].value.text, "text");
  EXPECT_EQ(root.members[6].value.members.at(0).value.integer, 1);
  EXPECT_EQ(root.members[7].value.members.at(0).key, "key");
}

TEST(JsonTree, TellsTheLineOfEachKeyAndValue) {
  const JsonValue root = Parse("\n{\n \"a\"\n:\n\"text\",\n\"b\": [\n1\n,\n2.5\n, true\n]\n}\n");
  EXPECT_EQ(root.line, 2);
  EXPECT_EQ(root.members.at(0).line, 3);
  EXPECT_EQ(root.members[0].value.line, 5);
  EXPECT_EQ(root.members.at(1).line, 6);
  const JsonValue& list = root.members[1].value;
  EXPECT_EQ(list.line, 6);
  EXPECT_EQ(list.members.at(0).value.line, 7) << "a number before a line's end";
  EXPECT_EQ(list.members.at(1).value.line, 9);
  EXPECT_EQ(list.members.at(2).value.line, 10);
}

TEST(JsonTree, ANumberBeforeACarriageReturnOrTheEndIsOnItsLine) {
  EXPECT_EQ(Parse("[\r\n1\r\n]").members.at(0).value.line, 2);
  EXPECT_EQ(Parse("\n\n42").line, 3);
  EXPECT_EQ(Parse("\n\n42\n").line, 3);
}

TEST(JsonTree, CommentsCountAsLines) {
  const JsonValue root = Parse("// one\n/* two\nthree */ [ // four\n7 // five\n]");
  EXPECT_EQ(root.line, 3);
  EXPECT_EQ(root.members.at(0).value.line, 4);
}

TEST(JsonTree, AnIntegerBeyondSixtyFourBitsIsANumber) {
  EXPECT_EQ(Parse("9223372036854775807").integer, 9223372036854775807);
  EXPECT_EQ(Parse("18446744073709551615").kind, JsonKind::kNumber);
  EXPECT_EQ(Parse("99999999999999999999999").kind, JsonKind::kNumber);
}

TEST(JsonTree, AnErrorTellsLineAndColumn) {
  const JsonError error = ErrorOf("{\n  \"a\": 1,\n  b: 2\n}");
  EXPECT_EQ(error.line, 3);
  EXPECT_EQ(error.column, 3);
  EXPECT_NE(error.message.find("syntax error"), std::string::npos) << error.message;
  EXPECT_EQ(error.message.find("json.exception"), std::string::npos) << error.message;
}

TEST(JsonTree, ErrorsAtTheEndsOfTheText) {
  EXPECT_EQ(ErrorOf("").line, 1);
  EXPECT_EQ(ErrorOf("{\n").line, 2);
  EXPECT_EQ(ErrorOf("[1\n\n").line, 3);
  EXPECT_EQ(ErrorOf("[1]\nx").line, 2);
  EXPECT_EQ(ErrorOf("[1]\nx").column, 1);
}

TEST(JsonTree, DepthHasALimit) {
  EXPECT_EQ(Parse(std::string(60, '[') + std::string(60, ']')).kind, JsonKind::kArray);
  EXPECT_EQ(ErrorOf(std::string(100000, '[')).message, "nested too deeply");
}

TEST(JsonTree, EveryCutOfATextIsAnError) {
  const std::string text = R"({"a": [1, 2.5, true, null, "x\u00e9"], "b": {"c": -3}})";
  for (std::size_t size = 0; size < text.size(); ++size) {
    JsonValue root;
    EXPECT_TRUE(ParseJson(text.substr(0, size), root)) << size;
  }
}

}  // namespace
}  // namespace zor::sim
