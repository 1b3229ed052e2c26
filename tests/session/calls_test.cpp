// What reaches the library of each call, on which thread, and what comes back.
#include <array>
#include <set>
#include <string>
#include <thread>

#include "tests/session/session_test.h"

namespace zor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class SessionCallsTest : public SessionTest {
 protected:
  FakeRequest LastRequest() { return machine_.Requests().back(); }
};

TEST_F(SessionCallsTest, GetInfoReturnsTheServersWords) {
  machine_.answer = [](const FakeRequest&) { return FakeReply{.number = 77}; };
  EXPECT_EQ(Open().GetInfo().get().info0, 77U);
}

TEST_F(SessionCallsTest, EnumerateReturnsTheNamesAndTheGaps) {
  machine_.answer = [](const FakeRequest&) { return FakeReply{.names = {"one", "", "three"}}; };
  EXPECT_THAT(Open().Enumerate(7).get(),
              ElementsAre(std::optional<std::string>("one"), std::nullopt,
                          std::optional<std::string>("three")));
  EXPECT_EQ(LastRequest().handle, 7U);
}

TEST_F(SessionCallsTest, AnInstanceMakesEachCallWithItsHandle) {
  Open();
  SessionInstance instance = MakeInstance(5);
  EXPECT_EQ(instance.handle(), 5U);
  machine_.answer = [](const FakeRequest&) {
    return FakeReply{.number = 3, .value = 0.5F, .bytes = {8, 9}};
  };

  instance.Config("rate", nullptr).get();
  EXPECT_EQ(LastRequest().name, "rate");
  EXPECT_EQ(LastRequest().value, "(null)");
  instance.Start().get();
  EXPECT_EQ(instance.GetStatus().get(), 3U);
  EXPECT_EQ(instance.Set("gain", 0.25F).get(), 0.5F);
  EXPECT_EQ(LastRequest().name, "gain");
  EXPECT_EQ(LastRequest().number, 0.25F);
  EXPECT_EQ(instance.Get("gain").get(), 0.5F);
  instance.SetSerialized("block", std::array<std::uint8_t, 2>{1, 2}).get();
  EXPECT_THAT(LastRequest().bytes, ElementsAre(1, 2));
  const auto block = instance.GetSerialized("block").get();
  ASSERT_TRUE(block);
  EXPECT_THAT(*block, ElementsAre(8, 9));
  instance.Stop().get();
  instance.Destroy().get();
  EXPECT_FALSE(instance);
  EXPECT_THAT(machine_.TakeRequests(),
              ElementsAre("ZorIntfConfig 5", "ZorIntfStart 5", "ZorIntfGetStatus 5", "ZorIntfSet 5",
                          "ZorIntfGet 5", "ZorIntfSetSerialized 5", "ZorIntfGetSerialized 5",
                          "ZorIntfStop 5", "ZorIntfDestroy 5"));
}

TEST_F(SessionCallsTest, AReplyWithoutABlockGivesNone) {
  Open();
  SessionInstance instance = MakeInstance();
  machine_.answer = [](const FakeRequest&) { return FakeReply{}; };
  EXPECT_FALSE(instance.GetSerialized(nullptr).get());
  EXPECT_EQ(LastRequest().name, "(null)");
}

TEST_F(SessionCallsTest, ArgumentsAreCopiedBeforeTheCallReturns) {
  Open();
  SessionInstance instance = MakeInstance();
  machine_.Next(Fate::kHeld);
  const auto first = instance.Start();
  machine_.WaitForRequests(3);
  std::string name = "gain";
  auto later = instance.Get(name);
  name = "overwritten";
  machine_.Release();
  later.get();
  EXPECT_EQ(LastRequest().name, "gain");
}

TEST_F(SessionCallsTest, AResultOfTheServerIsThrownWithTheCallsName) {
  Open();
  machine_.answer = [](const FakeRequest&) { return FakeReply{.result = 99}; };
  try {
    static_cast<void>(session_->GetInfo().get());
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), MakeErrorCode(99));
    EXPECT_THAT(error.what(), HasSubstr("ZorIntfGetInfo"));
  }
}

TEST_F(SessionCallsTest, WithoutAServerACallSaysSoAtOnce) {
  machine_.StopServer();
  session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
  EXPECT_EQ(ErrorOf(session_->GetInfo()), Result::kNotConnected);
  EXPECT_EQ(ErrorOf(session_->Create("general")), Result::kNotConnected);
  EXPECT_EQ(session_->reloads(), 0U);
}

TEST_F(SessionCallsTest, AllCallsAreMadeByOneThreadInTheirOrder) {
  Open();
  machine_.callers.clear();
  std::vector<std::future<NameList>> asked;
  for (std::uint32_t i = 10; i < 40; ++i) asked.push_back(session_->Enumerate(i));
  for (auto& one : asked) one.get();
  const auto requests = machine_.TakeRequests();
  for (std::size_t i = 0; i < requests.size(); ++i) {
    EXPECT_EQ(requests[i], "ZorIntfEnum " + std::to_string(10 + i));
  }
  const std::set<std::thread::id> threads(machine_.callers.begin(), machine_.callers.end());
  EXPECT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_F(SessionCallsTest, AnInstanceThatOwnsNothingSendsNothing) {
  Open();
  SessionInstance none;
  EXPECT_FALSE(none);
  EXPECT_EQ(ErrorOf(none.Start()), SessionError::kNoInstance);
  EXPECT_EQ(ErrorOf(none.Destroy()), SessionError::kNoInstance);
  SessionInstance instance = MakeInstance();
  SessionInstance taker = std::move(instance);
  EXPECT_EQ(ErrorOf(instance.GetStatus()), std::errc::invalid_argument);
  taker.Abandon();
  EXPECT_EQ(taker.handle(), 0U);
  EXPECT_THAT(machine_.TakeRequests(), IsEmpty());
}

TEST_F(SessionCallsTest, AnInstanceIsDestroyedWithItsObject) {
  Open();
  { const SessionInstance instance = MakeInstance(6); }
  session_.reset();
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfDestroy 6"));
}

TEST_F(SessionCallsTest, AssigningToAnInstanceDestroysTheOneBefore) {
  Open();
  SessionInstance instance = MakeInstance(6);
  instance = MakeInstance(7);
  EXPECT_EQ(instance.handle(), 7U);
  static_cast<void>(session_->GetInfo().get());
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfDestroy 6", "ZorIntfGetInfo 0"));
}

TEST_F(SessionCallsTest, AnInstanceMayOutliveItsSession) {
  Open();
  SessionInstance instance = MakeInstance();
  session_.reset();
  EXPECT_EQ(ErrorOf(instance.Start()), SessionError::kClosed);
  EXPECT_THAT(machine_.TakeRequests(), IsEmpty());
}

TEST_F(SessionCallsTest, TheSessionMakesTheCallsThatAreAskedForBeforeItEnds) {
  Open();
  machine_.Next(Fate::kHeld);
  const auto first = session_->GetInfo();
  machine_.WaitForRequests(2);  // that of the session's own look, and this one
  auto last = session_->Enumerate(7);
  std::thread closing([this] { session_.reset(); });
  machine_.Release();
  closing.join();
  EXPECT_EQ(ErrorOf(std::move(last)), std::error_code());
}

TEST_F(SessionCallsTest, ASecondSessionIsRefused) {
  Open();
  try {
    const Session second(std::make_unique<FakeSystem>(machine_));
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), SessionError::kSecondSession);
    EXPECT_EQ(error.code(), std::errc::device_or_resource_busy);
  }
  EXPECT_EQ(ErrorOf(session_->GetInfo()), std::error_code());
  session_.reset();
  EXPECT_NO_THROW(Open());
}

TEST_F(SessionCallsTest, ALibraryThatCannotBeLoadedIsThrownByTheConstructor) {
  machine_.RefuseToLoad("there is no such file");
  try {
    const Session session(std::make_unique<FakeSystem>(machine_));
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), SessionError::kLibraryNotLoaded);
    EXPECT_THAT(error.what(), HasSubstr("there is no such file"));
  }
  machine_.RefuseToLoad("");
  EXPECT_NO_THROW(Open());
}

TEST(SessionErrors, HaveATextEach) {
  std::set<std::string> texts;
  constexpr int kErrors = static_cast<int>(SessionError::kClosed);
  for (int i = 1; i <= kErrors; ++i) texts.insert(SessionErrorCategory().message(i));
  EXPECT_EQ(texts.size(), static_cast<std::size_t>(kErrors));
  EXPECT_EQ(texts.count("unknown"), 0U);
  EXPECT_STREQ(SessionErrorCategory().name(), "zor session");
}

}  // namespace
}  // namespace zor::testing
