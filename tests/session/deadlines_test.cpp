// Calls that take too long: what their callers are told, and that no late reply becomes another
// call's.
#include <atomic>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>

#include "tests/faults/tally.h"
#include "tests/session/session_test.h"

namespace zor::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::chrono::milliseconds kSoon(5);

class Deadlines : public SessionTest {
 protected:
  /// The server's words are the number of the request.
  void AnswerWithNumbers() {
    machine_.answer = [this](const FakeRequest&) { return FakeReply{.number = ++answered_}; };
  }

  void WaitForReloads(std::uint64_t count) {
    while (session_->reloads() < count) std::this_thread::sleep_for(1ms);
  }

  std::uint32_t answered_ = 0;
};

TEST_F(Deadlines, ACallThatIsNotAnsweredTimesOut) {
  Open();
  const std::error_code error = ErrorOfLateGetInfo(Fate::kUnanswered);
  EXPECT_EQ(error, SessionError::kTimedOut);
  EXPECT_EQ(error, std::errc::timed_out);
}

TEST_F(Deadlines, TheLibraryIsLoadedAnewBeforeTheNextCall) {
  Open();
  AnswerWithNumbers();
  EXPECT_EQ(ErrorOfLateGetInfo(Fate::kHeld), SessionError::kTimedOut);
  machine_.Release();
  EXPECT_EQ(session_->GetInfo().get().info0, 2U);
  EXPECT_EQ(session_->reloads(), 1U);
  EXPECT_EQ(machine_.loads, 2);
  EXPECT_THAT(log_.WaitForKinds(2),
              ElementsAre(SessionEventKind::kServerFound, SessionEventKind::kReloaded));
}

TEST_F(Deadlines, WithoutTheReloadTheNextCallWouldGetTheLateReply) {
  Open();
  AnswerWithNumbers();
  machine_.keeps_loaded = true;
  EXPECT_EQ(ErrorOfLateGetInfo(Fate::kHeld), SessionError::kTimedOut);
  machine_.Release();
  EXPECT_EQ(session_->GetInfo().get().info0, 1U);
}

TEST_F(Deadlines, ACancellationThatMeetsNoWaitIsRepeated) {
  Open();
  machine_.cancels_to_miss = 3;
  EXPECT_EQ(ErrorOfLateGetInfo(Fate::kUnanswered), SessionError::kTimedOut);
  EXPECT_EQ(ErrorOf(session_->GetInfo()), std::error_code());
  EXPECT_GE(machine_.cancels, 4);
}

TEST_F(Deadlines, ACallThatCannotBeEndedHoldsUpNoCaller) {
  Open();
  machine_.cancels_to_miss = 1'000'000;
  EXPECT_EQ(ErrorOfLateGetInfo(Fate::kHeld), SessionError::kTimedOut);
  machine_.WaitForRequests(2);
  EXPECT_EQ(ErrorOf(session_->Enumerate(7, kSoon)), SessionError::kNotSent);
  machine_.Release();  // it returns, too late
  EXPECT_EQ(ErrorOf(session_->GetInfo()), std::error_code());
  EXPECT_EQ(session_->reloads(), 1U);
}

TEST_F(Deadlines, ACallWhoseTurnDoesNotComeIsNotSent) {
  Open();
  machine_.Next(Fate::kHeld);
  auto first = session_->GetInfo();
  machine_.WaitForRequests(2);
  const std::error_code error = ErrorOf(session_->Enumerate(7, kSoon));
  EXPECT_EQ(error, SessionError::kNotSent);
  EXPECT_EQ(error, std::errc::timed_out);
  machine_.Release();
  EXPECT_EQ(ErrorOf(std::move(first)), std::error_code());
  EXPECT_EQ(ErrorOf(session_->GetInfo()), std::error_code());
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfGetInfo 0", "ZorIntfGetInfo 0"));
  EXPECT_EQ(session_->reloads(), 0U);
}

TEST_F(Deadlines, TheSessionsLimitHoldsForCallsWithoutTheirOwn) {
  options_.limit = kSoon;
  session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
  machine_.WaitForRequests(1);
  machine_.Next(Fate::kUnanswered);
  EXPECT_EQ(ErrorOf(session_->GetInfo()), std::errc::timed_out);
}

TEST_F(Deadlines, AReplyThatIsNotValidAlsoReloads) {
  Open();
  AnswerWithNumbers();
  machine_.Next(Fate::kHalved);
  EXPECT_EQ(ErrorOf(session_->GetInfo()), Result::kTransportFailure);
  EXPECT_EQ(session_->GetInfo().get().info0, 2U);
  machine_.Release();
  EXPECT_EQ(session_->GetInfo().get().info0, 3U);
  EXPECT_EQ(session_->reloads(), 1U);
}

TEST_F(Deadlines, AnInstanceLivesThroughAReload) {
  Open();
  SessionInstance instance = MakeInstance(5);
  EXPECT_EQ(ErrorOfLate(Fate::kUnanswered, [&](Limit limit) { return instance.Start(limit); }),
            SessionError::kTimedOut);
  EXPECT_EQ(ErrorOf(instance.Start()), std::error_code());
  EXPECT_FALSE(instance.IsLost());
}

TEST_F(Deadlines, AnInstanceThatWasMadeTooLateIsDestroyed) {
  Open();
  machine_.answer = [](const FakeRequest&) { return FakeReply{.number = 8}; };
  machine_.cancels_to_miss = 1'000'000;
  EXPECT_EQ(
      ErrorOfLate(Fate::kHeld,
                  [this](Limit limit) { return session_->Create("general", nullptr, limit); }),
      SessionError::kTimedOut);
  machine_.WaitForRequests(2);
  machine_.Release();  // the call returns with a success that nobody waits for
  static_cast<void>(session_->GetInfo().get());
  session_.reset();
  EXPECT_THAT(machine_.TakeRequests(), Contains("ZorIntfDestroy 8"));
}

TEST_F(Deadlines, ALibraryThatIsHeldByOthersEndsTheCallsAndSaysWhy) {
  Open();
  machine_.held = true;
  EXPECT_EQ(ErrorOfLateGetInfo(Fate::kHeld), SessionError::kTimedOut);
  machine_.Release();
  EXPECT_EQ(ErrorOf(session_->GetInfo()), SessionError::kLibraryHeld);
  EXPECT_EQ(ErrorOf(session_->Create("general")), SessionError::kLibraryHeld);
  EXPECT_EQ(log_.WaitForKinds(2).back(), SessionEventKind::kLibraryHeld);
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfGetInfo 0"));
  EXPECT_EQ(session_->reloads(), 0U);
}

TEST_F(Deadlines, ALibraryThatCannotBeLoadedAgainIsTriedAtEachCall) {
  Open();
  machine_.RefuseToLoad("there is no such file");
  EXPECT_EQ(ErrorOfLateGetInfo(Fate::kUnanswered), SessionError::kTimedOut);
  try {
    static_cast<void>(session_->GetInfo().get());
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), SessionError::kLibraryNotLoaded);
    EXPECT_THAT(error.what(), ::testing::HasSubstr("there is no such file"));
  }
  machine_.RefuseToLoad("");
  EXPECT_EQ(ErrorOf(session_->GetInfo()), std::error_code());
}

// --- the list of algorithms

class AlgorithmIds : public Deadlines {
 protected:
  AlgorithmIds() {
    machine_.answer = [this](const FakeRequest&) {
      return FakeReply{.number = 5, .value = 1, .names = names_};
    };
  }

  void Reload() {
    const auto before = session_->reloads();
    static_cast<void>(machine_.TakeRequests());
    EXPECT_EQ(ErrorOfLate(Fate::kUnanswered,
                          [this](Limit limit) { return session_->Enumerate(7, limit); }),
              SessionError::kTimedOut);
    WaitForReloads(before + 1);
  }

  std::vector<std::string> names_ = {"general", "whisper"};
};

TEST_F(AlgorithmIds, AreFetchedOnce) {
  Open();
  EXPECT_EQ(session_->Enumerate().get(), session_->Enumerate().get());
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfEnum 2"));
}

TEST_F(AlgorithmIds, AreFetchedAgainAfterAReloadBeforeTheyAreUsed) {
  Open();
  static_cast<void>(session_->Enumerate().get());
  SessionInstance instance = session_->Create("general").get();
  Reload();
  EXPECT_EQ(ErrorOf(instance.Set(kAlgorithmParameter, 1.0F)), std::error_code());
  EXPECT_THAT(machine_.TakeRequests(),
              ElementsAre("ZorIntfEnum 7", "ZorIntfEnum 2", "ZorIntfSet 5"));
}

TEST_F(AlgorithmIds, AreNotFetchedWhereNobodyHasAskedForThem) {
  Open();
  SessionInstance instance = session_->Create("general").get();
  Reload();
  EXPECT_EQ(ErrorOf(instance.Get(kAlgorithmParameter)), std::error_code());
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfEnum 7", "ZorIntfGet 5"));
}

TEST_F(AlgorithmIds, AreFetchedAgainWhenThereIsTime) {
  options_.look_interval = 20ms;
  Open();
  static_cast<void>(session_->Enumerate().get());
  Reload();
  machine_.WaitForRequests(4);  // the first look, the list, the call that timed out, the list
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfEnum 7", "ZorIntfEnum 2"));
}

TEST_F(AlgorithmIds, ThatHaveChangedMustBeAskedForAgain) {
  Open();
  static_cast<void>(session_->Enumerate().get());
  SessionInstance instance = session_->Create("general").get();
  names_ = {"whisper", "general"};
  Reload();
  EXPECT_EQ(ErrorOf(instance.Set(kAlgorithmParameter, 1.0F)), SessionError::kAlgorithmsChanged);
  EXPECT_EQ(ErrorOf(instance.Get(kAlgorithmParameter)), SessionError::kAlgorithmsChanged);
  EXPECT_EQ(ErrorOf(instance.Set("gain", 1.0F)), std::error_code());
  EXPECT_EQ(session_->Enumerate().get().front(), "whisper");
  EXPECT_EQ(ErrorOf(instance.Set(kAlgorithmParameter, 1.0F)), std::error_code());
  EXPECT_EQ(log_.WaitForKinds(3).back(), SessionEventKind::kAlgorithmsChanged);
}

// --- late replies, many

/// Asks for values, some of which come late in every way there is, and counts those that are wrong.
class LateReplies : public SessionTest {
 protected:
  std::size_t CountWrong(std::size_t count) {
    machine_.answer = [](const FakeRequest& request) {
      return FakeReply{.number = 5, .value = request.number};
    };
    options_.limit = kPatience;
    session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
    SessionInstance instance = session_->Create("general").get();
    std::mt19937 random(17);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const auto number = static_cast<float>(i);
      const Fate fate = random() % 3 == 0 ? Fate::kHalved : Fate::kHeld;
      machine_.Next(fate);
      auto late = instance.Set("number", number, std::chrono::milliseconds(random() % 3));
      // Before the deadline, after it, or while it passes.
      const auto when = random() % 3;
      if (when == 0) machine_.Release();
      if (when == 1) {
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        machine_.Release();
      }
      wrong += IsWrong(std::move(late), number);
      machine_.AnswerFromNowOn();  // it may not have been sent
      machine_.Release();
      wrong += IsWrong(instance.Set("number", number + 0.5F), number + 0.5F);
    }
    return wrong;
  }

 private:
  /// A call may fail; a value must be its own.
  static std::size_t IsWrong(std::future<float> future, float expected) {
    try {
      return future.get() == expected ? 0 : 1;
    } catch (const std::system_error&) {
      return 0;
    }
  }
};

TEST_F(LateReplies, AreNeverTakenForAnothersReply) {
  const std::size_t count = faults::Scaled(500, 10'000);
  EXPECT_EQ(CountWrong(count), 0U);
  EXPECT_GT(session_->reloads(), count / 4);
  faults::Tally("late replies to a session", count);
}

TEST_F(LateReplies, WouldBeWithoutTheReload) {
  machine_.keeps_loaded = true;
  EXPECT_GT(CountWrong(200), 0U);
}

TEST_F(Deadlines, OfManyThreadsAreKept) {
  Open();
  machine_.answer = [](const FakeRequest& request) {
    return FakeReply{.number = 5, .value = request.number};
  };
  SessionInstance instance = session_->Create("general").get();
  std::atomic<std::size_t> wrong{0};
  std::atomic<bool> over{false};
  std::thread server([&] {
    while (!over) {
      machine_.Next(Fate::kHeld);
      std::this_thread::sleep_for(1ms);
      machine_.Release();
    }
  });
  std::vector<std::thread> callers;
  for (int caller = 0; caller < 4; ++caller) {
    callers.emplace_back([&, caller] {
      std::mt19937 random(static_cast<unsigned>(caller));
      for (int i = 0; i < 200; ++i) {
        const auto number = static_cast<float>(1000 * caller + i);
        try {
          const auto limit = std::chrono::milliseconds(random() % 8);
          if (instance.Set("number", number, limit).get() != number) ++wrong;
        } catch (const std::system_error& error) {
          if (error.code() != std::errc::timed_out) ++wrong;
        }
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  over = true;
  server.join();
  machine_.AnswerFromNowOn();
  machine_.Release();
  EXPECT_EQ(wrong, 0U);
}

}  // namespace
}  // namespace zor::testing
