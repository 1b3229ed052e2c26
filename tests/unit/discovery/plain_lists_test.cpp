// Listing names for the selectors that concern the server alone.
#include <gmock/gmock.h>

#include <limits>
#include <new>
#include <string>
#include <vector>

#include "messages/reply.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Strings = std::vector<std::string>;

class PlainLists : public CallTest {
 protected:
  void TearDown() override {
    AnswerWith(Build(Reply{}));
    EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);  // frees what is left
    CallTest::TearDown();
  }

  static void AnswerWithNames(std::uint32_t count, std::optional<Strings> names) {
    AnswerWith(Build(Reply{.enum_result = Reply::Names{count, std::move(names)}}));
  }

  /// The list's names; "(null)" for a slot without one.
  Strings Names() {
    Strings names;
    for (const char* name : std::span(list_.items, list_.count)) {
      names.emplace_back(name == nullptr ? "(null)" : name);
    }
    return names;
  }

  std::uint8_t SentSelector() {
    return messages::CheckReply(ThePipes().TakeWritten(kRequestPipe).back())->enum_type();
  }

  ZorNameList list_{0, nullptr};
};

TEST_F(PlainLists, HoldTheNamesInTheServersOrderAndLeaveTheIdTableEmpty) {
  AnswerWithNames(3, {{"general", "private", ""}});
  EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  EXPECT_THAT(Names(), ElementsAre("general", "private", ""));
  EXPECT_THAT(TheLibrary().algorithm_ids, IsEmpty());
}

TEST_F(PlainLists, AskWithTheLowEightBitsOfTheSelector) {
  AnswerWithNames(1, {{"general"}});
  for (const std::uint32_t selector : {0U, 1U, 3U, 255U, 256U, 258U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ZorIntfEnum(selector, &list_), ZOR_SUCCESS);
    EXPECT_EQ(SentSelector(), selector & 0xFFU);
    EXPECT_THAT(Names(), ElementsAre("general"));
  }
  EXPECT_THAT(TheLibrary().algorithm_ids, IsEmpty()) << "258 is sent as 2, and is not 2";
}

TEST_F(PlainLists, AreLeftAsTheyWereByAServersRefusal) {
  AnswerWithNames(2, {{"general", "private"}});
  ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  const ZorNameList before = list_;
  const int freed = TheCalls().Count(Function::kHeapFree);

  AnswerWith(Build(Reply{.enum_result = Reply::Names{1, {{"other"}}}, .result = 5}));
  EXPECT_EQ(ZorIntfEnum(0, &list_), 5U);
  EXPECT_EQ(list_.items, before.items);
  EXPECT_THAT(Names(), ElementsAre("general", "private"));
  EXPECT_EQ(TheCalls().Count(Function::kHeapFree), freed + 2);  // of the log line
}

TEST_F(PlainLists, FreeEveryNameOfTheListBefore) {
  AnswerWithNames(3, {{"general", "private", "whisper"}});
  ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  EXPECT_EQ(TheHeap().BlockCount(), 4U);
  AnswerWithNames(1, {{"other"}});
  ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  EXPECT_EQ(TheHeap().BlockCount(), 2U);
  EXPECT_THAT(Names(), ElementsAre("other"));
}

TEST_F(PlainLists, AreEmptiedByAReplyWithoutAListOrWithACountOf0) {
  for (const Bytes& reply : {Build(Reply{}), Build(Reply{.enum_result = Reply::Names{0, {}}}),
                             Build(Reply{.enum_result = Reply::Names{0, {{"general"}}}})}) {
    AnswerWithNames(1, {{"general"}});
    ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
    AnswerWith(reply);
    EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
    EXPECT_EQ(list_.count, 0U);
    EXPECT_EQ(list_.items, nullptr);
    EXPECT_EQ(TheHeap().BlockCount(), 0U);
  }
}

TEST_F(PlainLists, WithoutItemsHaveTheirCountSetAnyway) {
  list_.count = 7;
  AnswerWith(Build(Reply{}));
  EXPECT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  EXPECT_EQ(list_.count, 0U);
}

TEST_F(PlainLists, HaveAsManySlotsAsTheCountWhateverTheNumberOfNames) {
  AnswerWithNames(4, {{"general", "private"}});
  ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  EXPECT_THAT(Names(), ElementsAre("general", "private", "(null)", "(null)"));

  AnswerWithNames(2, {{"general", "private", "whisper"}});
  ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  EXPECT_THAT(Names(), ElementsAre("general", "private"));

  AnswerWithNames(2, {});
  ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
  EXPECT_THAT(Names(), ElementsAre("(null)", "(null)"));
}

TEST_F(PlainLists, ThatFillAReplyAreHeldWhole) {
  Strings names;
  const auto reply = [&names] {
    return Build(
        Reply{.enum_result = Reply::Names{static_cast<std::uint32_t>(names.size()), {names}}});
  };
  while (reply().size() <= 1024) names.push_back("algorithm " + std::to_string(names.size()));
  names.pop_back();
  AnswerWith(reply());
  EXPECT_EQ(ZorIntfEnum(1, &list_), ZOR_SUCCESS);
  EXPECT_EQ(Names(), names);
}

TEST_F(PlainLists, ThrowBadAllocWithoutMemoryAndStayUsable) {
  AnswerWithNames(3, {{"general", "private", "whisper"}});
  for (int nth = 1; nth <= 4; ++nth) {
    ASSERT_EQ(ZorIntfEnum(0, &list_), ZOR_SUCCESS);
    TheCalls().Fail(Function::kHeapAllocate, 0, nth);
    EXPECT_THROW(static_cast<void>(ZorIntfEnum(0, &list_)), std::bad_alloc);
    if (nth == 1) {
      EXPECT_EQ(list_.count, 0U);
    }
    if (nth == 3) {
      EXPECT_THAT(Names(), ElementsAre("general", "(null)", "(null)"));
    }
  }
}

TEST_F(PlainLists, OfACountThatNoMemoryHoldsThrowBadAlloc) {
  AnswerWithNames(0xFFFFFFFF, {{"general"}});
  EXPECT_THROW(static_cast<void>(ZorIntfEnum(0, &list_)), std::bad_alloc);
  EXPECT_EQ(list_.count, 0U);
  EXPECT_EQ(list_.items, nullptr);
}

}  // namespace
}  // namespace zor::scripted
