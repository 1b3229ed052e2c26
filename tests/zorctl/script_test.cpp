// Session scripts, the numbers in them, and the progress bar.
#include "tools/zorctl/script.h"

#include <gmock/gmock.h>

#include <sstream>

#include "tools/zorctl/numbers.h"
#include "tools/zorctl/progress.h"

namespace zor::ctl {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

template <typename Function>
std::string ErrorOf(Function function) {
  try {
    function();
  } catch (const ScriptError& error) {
    return error.what();
  }
  return "no error";
}

TEST(SplitWords, CutsAtBlanks) {
  EXPECT_THAT(SplitWords("set 1\tgain   0.5  "), ElementsAre("set", "1", "gain", "0.5"));
  EXPECT_THAT(SplitWords("  \t "), IsEmpty());
}

TEST(SplitWords, QuotationMarksKeepWhatIsInside) {
  EXPECT_THAT(SplitWords(R"(create "front left" '')"), ElementsAre("create", "front left", ""));
  EXPECT_THAT(SplitWords(R"("a # b" 'c "d"')"), ElementsAre("a # b", "c \"d\""));
  EXPECT_THAT(SplitWords(R"(a"b c"d)"), ElementsAre("ab cd"));
}

TEST(SplitWords, ABackslashStandsForItselfAsInPaths) {
  EXPECT_THAT(SplitWords(R"(C:\new\file)"), ElementsAre(R"(C:\new\file)"));
  EXPECT_THAT(SplitWords(R"("C:\my file" 'C:\b\')"), ElementsAre(R"(C:\my file)", R"(C:\b\)"));
  EXPECT_THAT(SplitWords(R"("say \"x\" \\")"), ElementsAre(R"(say "x" \)"));
}

TEST(SplitWords, ACommentBeginsAWord) {
  EXPECT_THAT(SplitWords("# all of it"), IsEmpty());
  EXPECT_THAT(SplitWords("info # the rest"), ElementsAre("info"));
  EXPECT_THAT(SplitWords("create a#b"), ElementsAre("create", "a#b"));
}

TEST(SplitWords, AnOpenQuotationIsAMistake) {
  EXPECT_EQ(ErrorOf([] { (void)SplitWords("create \"front left"); }),
            "the quotation mark \" is not closed");
  EXPECT_EQ(ErrorOf([] { (void)SplitWords("create 'x"); }), "the quotation mark ' is not closed");
}

TEST(ToScriptText, ReadsUtf16OfEitherOrder) {
  const std::vector<std::uint8_t> little{0xFF, 0xFE, 'a',  0,    0xFC, 0,
                                         0x03, 0x26, 0x3C, 0xD8, 0xB5, 0xDF};
  const std::vector<std::uint8_t> big{0xFE, 0xFF, 0,    'a',  0,    0xFC,
                                      0x26, 0x03, 0xD8, 0x3C, 0xDF, 0xB5};
  const std::string text = "a\xC3\xBC\xE2\x98\x83\xF0\x9F\x8E\xB5";
  EXPECT_EQ(ToScriptText(little), text);
  EXPECT_EQ(ToScriptText(big), text);
}

TEST(ToScriptText, ReplacesHalfASurrogatePair) {
  const std::string replacement = "\xEF\xBF\xBD";
  EXPECT_EQ(ToScriptText(std::vector<std::uint8_t>{0xFF, 0xFE, 0x3C, 0xD8}), replacement);
  EXPECT_EQ(ToScriptText(std::vector<std::uint8_t>{0xFF, 0xFE, 0xB5, 0xDF, 'a', 0}),
            replacement + "a");
  EXPECT_EQ(ToScriptText(std::vector<std::uint8_t>{0xFF, 0xFE, 0x3C, 0xD8, 'a', 0}),
            replacement + "a");
}

TEST(ToScriptText, RefusesHalfACharacter) {
  EXPECT_EQ(ErrorOf([] {
              (void)ToScriptText(std::vector<std::uint8_t>{0xFF, 0xFE, 'a'});
            }),
            "the file is UTF-16, but ends in half a character");
}

TEST(ToScriptText, LeavesOtherFilesAsTheyAre) {
  EXPECT_EQ(ToScriptText(std::vector<std::uint8_t>{'a', 0xFF}), "a\xFF");
  EXPECT_EQ(ToScriptText(std::vector<std::uint8_t>{0xFF}), "\xFF");
  EXPECT_EQ(ToScriptText({}), "");
}

TEST(ReadScript, NumbersTheLinesThatHoldACommand) {
  std::istringstream script("\xEF\xBB\xBF# a session\r\n\r\ninfo\r\n  list\n\nstart 1");
  const auto lines = ReadScript(script);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].number, 3U);
  EXPECT_THAT(lines[0].words, ElementsAre("info"));
  EXPECT_EQ(lines[1].number, 4U);
  EXPECT_EQ(lines[2].number, 6U);
  EXPECT_THAT(lines[2].words, ElementsAre("start", "1"));
}

TEST(ReadScript, NamesTheLineOfAMistake) {
  std::istringstream script("info\n\ncreate 'x\n");
  EXPECT_EQ(ErrorOf([&] { (void)ReadScript(script); }),
            "line 3: the quotation mark ' is not closed");
}

TEST(ReplaceVariables, PutsTheHandleIn) {
  std::vector<std::string> words{"set", "$handle", "gain", "$handle"};
  ReplaceVariables(words, 42);
  EXPECT_THAT(words, ElementsAre("set", "42", "gain", "42"));
}

TEST(ReplaceVariables, RefusesWhatHasNoValue) {
  std::vector<std::string> words{"start", "$handle"};
  EXPECT_EQ(ErrorOf([&] { ReplaceVariables(words, std::nullopt); }),
            "$handle has no value before the first create");
  words[1] = "$other";
  EXPECT_EQ(ErrorOf([&] { ReplaceVariables(words, 1); }),
            "$other is not known: the only variable is $handle");
}

TEST(Numbers, UnsignedOnesAreWholeTexts) {
  EXPECT_EQ(ParseUnsigned("0"), 0U);
  EXPECT_EQ(ParseUnsigned("4294967295"), 4294967295U);
  EXPECT_EQ(ParseUnsigned("0xA1b2"), 0xA1B2U);
  for (const char* text : {"", "-1", "+1", " 1", "1 ", "1x", "0x", "x", "4294967296", "1.0"}) {
    EXPECT_EQ(ParseUnsigned(text), std::nullopt) << text;
  }
}

TEST(Numbers, FloatsAreWholeTexts) {
  EXPECT_EQ(ParseFloat("3.4e38"), 3.4e38F);
  EXPECT_EQ(ParseFloat(".5"), 0.5F);
  for (const char* text : {"", "1,5", "0.5 ", "0x1p3", "+-1", "++1", "1e39", "half"}) {
    EXPECT_EQ(ParseFloat(text), std::nullopt) << text;
  }
}

TEST(Numbers, SecondsAreMilliseconds) {
  EXPECT_EQ(ParseSeconds("2"), 2000U);
  EXPECT_EQ(ParseSeconds("0.001"), 1U);
  for (const char* text : {"", "0", "-1", "0.0001", "nan", "inf", "4294968", "1s"}) {
    EXPECT_EQ(ParseSeconds(text), std::nullopt) << text;
  }
}

TEST(ProgressLine, ShowsMuchWorkToATerminal) {
  std::string shown;
  const auto write = [&](std::string_view text) { shown += text; };
  {
    ProgressLine line(50, write);
    line.Hide();
    EXPECT_EQ(shown, "");
    line.Show(25);
    EXPECT_EQ(shown, '\r' + ProgressBar(25, 50, 40));
    shown.clear();
  }
  EXPECT_EQ(shown, '\r' + std::string(79, ' ') + '\r');
}

TEST(ProgressLine, GivesAFileALineForEachTwentieth) {
  std::vector<std::string> lines;
  ProgressLine progress(
      200, [&](std::string_view text) { lines.emplace_back(text); }, ProgressLine::Kind::kLines);
  for (std::size_t done = 1; done <= 200; ++done) progress.Show(done);
  ASSERT_EQ(lines.size(), 20U);
  EXPECT_EQ(lines.front(), "5% 10/200");
  EXPECT_EQ(lines.back(), "100% 200/200");
}

TEST(ProgressLine, ShowsNothingOfLittleWorkOrToNobody) {
  std::string shown;
  ProgressLine(49, [&](std::string_view text) { shown += text; }).Show(1);
  ProgressLine(50, nullptr).Show(1);
  EXPECT_EQ(shown, "");
}

TEST(ProgressBar, FillsFromTheLeft) {
  EXPECT_EQ(ProgressBar(0, 10, 10), "[>         ]   0% 0/10");
  EXPECT_EQ(ProgressBar(5, 10, 10), "[=====>    ]  50% 5/10");
  EXPECT_EQ(ProgressBar(10, 10, 10), "[==========] 100% 10/10");
  EXPECT_EQ(ProgressBar(999, 1000, 10), "[=========>]  99% 999/1000");
}

}  // namespace
}  // namespace zor::ctl
