// The debug log, narrow and wide.
#include "interface/debug_log.h"

#include <gmock/gmock.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using DebugLog = PlatformTest;

TEST_F(DebugLog, PutsThePrefixBeforeTheText) {
  Log("one %d, two %s\n", 1, "2");
  Log(L"one %d, two %s\n", 1, L"2");
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] one 1, two 2\n"));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] one 1, two 2\n"));
}

TEST_F(DebugLog, AddsNoNewline) {
  Log("no newline");
  Log(L"no newline");
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] no newline"));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] no newline"));
}

TEST_F(DebugLog, OfAnEmptyStringIsThePrefixAlone) {
  Log("%s", "");
  Log(L"%s", L"");
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] "));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] "));
}

TEST_F(DebugLog, PrintsPercentSignsOfArgumentsAsTheyAre) {
  Log("%s\n", "100%s %d %n");
  Log(L"%s\n", L"100%s %d %n");
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] 100%s %d %n\n"));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] 100%s %d %n\n"));
}

TEST_F(DebugLog, WritesSeveralKilobytesWholeInOneMessage) {
  for (const std::size_t size : {1000U, 1023U, 1024U, 4096U, 70'000U}) {
    const std::string text(size, 'x');
    const std::wstring wide(size, L'y');
    Log("%s|\n", text.c_str());
    Log(L"%s|\n", wide.c_str());
    EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] " + text + "|\n"));
    EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] " + wide + L"|\n"));
  }
}

TEST_F(DebugLog, MeasuresThenWritesOnceIntoABufferOfExactlyThatSize) {
  Log("%s", "12345");
  Log(L"%s", L"1234567");
  const auto formattings = TheOutput().TakeFormattings();
  ASSERT_EQ(formattings.size(), 2U);
  EXPECT_FALSE(formattings[0].wide);
  EXPECT_EQ(formattings[0].measured, 6 + 5);
  EXPECT_EQ(formattings[0].size, 6U + 5U + 1U);
  EXPECT_TRUE(formattings[1].wide);
  EXPECT_EQ(formattings[1].measured, 6 + 7);
  EXPECT_EQ(formattings[1].size, 6U + 7U + 1U);
  EXPECT_EQ(TheCalls().Count(Function::kFormattedLength), 2);
  EXPECT_EQ(TheCalls().Count(Function::kFormat), 2);
  EXPECT_EQ(TheCalls().Count(Function::kDebugOutput), 2);
}

TEST_F(DebugLog, WhoseMeasureIsNegativeCallsTheFormatterWithSize0AndWritesNothing) {
  TheCalls().Fail(Function::kFormattedLength, 0);
  Log("%s", "text");
  TheCalls().Fail(Function::kFormattedLength, 0);
  Log(L"%s", L"text");
  EXPECT_EQ(TheOutput().InvalidParameterCount(), 2);
  EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
  Log("%s", "next");
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] next"));
}

TEST_F(DebugLog, DropsALineWithoutMemory) {
  for (int nth = 1; nth <= 2; ++nth) {
    TheCalls().Fail(Function::kHeapAllocate, 8, nth);
    Log("%s", "narrow");
    TheCalls().Fail(Function::kHeapAllocate, 8, nth);
    Log(L"%s", L"wide");
  }
  EXPECT_THAT(TheOutput().TakeNarrow(), IsEmpty());
  EXPECT_THAT(TheOutput().TakeWide(), IsEmpty());
  Log("%s", "next");
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] next"));
}

TEST_F(DebugLog, FormatsNumbersAsTheLibraryUsesThem) {
  Log("%d %d\n", -1, 2147483647);
  Log(L"0x%08X\n", 0x8004100EU);
  EXPECT_THAT(TheOutput().TakeNarrow(), ElementsAre("[zor] -1 2147483647\n"));
  EXPECT_THAT(TheOutput().TakeWide(), ElementsAre(L"[zor] 0x8004100E\n"));
}

TEST_F(DebugLog, KeepsLinesOfManyThreadsWhole) {
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([i] {
      const std::string text(100, static_cast<char>('a' + i));
      for (int line = 0; line < kLines; ++line) Log("%s\n", text.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();

  const auto lines = TheOutput().TakeNarrow();
  EXPECT_EQ(lines.size(), std::size_t{kThreads} * kLines);
  for (const std::string& line : lines) {
    ASSERT_EQ(line.size(), 6U + 100U + 1U);
    EXPECT_EQ(line, "[zor] " + std::string(100, line[6]) + "\n");
  }
}

}  // namespace
}  // namespace zor::scripted
