// The server's life: what is told of it, and what becomes of the instances.
#include <string>
#include <thread>

#include "tests/session/session_test.h"

namespace zor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Kind = SessionEventKind;

class ServersLife : public SessionTest {
 protected:
  void Restart(std::uint32_t process) {
    machine_.StopServer();
    machine_.StartServer(process);
  }
};

TEST_F(ServersLife, AServerIsFoundGoneAndBack) {
  options_.look_interval = 20ms;
  Open();
  machine_.StopServer();
  log_.WaitFor(2);
  machine_.StartServer(1);
  EXPECT_THAT(log_.WaitForKinds(3),
              ElementsAre(Kind::kServerFound, Kind::kServerGone, Kind::kServerBack));
  EXPECT_EQ(session_->generation(), 0U);
}

TEST_F(ServersLife, AnotherProcessIsToldAsSuch) {
  options_.look_interval = 20ms;
  Open();
  Restart(2);
  EXPECT_THAT(log_.WaitForKinds(3),
              ElementsAre(Kind::kServerFound, Kind::kServerGone, Kind::kServerReplaced));
  const auto events = log_.WaitFor(3);
  EXPECT_EQ(events[0].process, 1U);
  EXPECT_EQ(events[1].process, 1U);
  EXPECT_EQ(events[2].process, 2U);
  EXPECT_EQ(session_->generation(), 1U);
}

TEST_F(ServersLife, TheInstancesOfAProcessThatIsBackAreStillThere) {
  Open();
  SessionInstance instance = MakeInstance(5);
  Restart(1);
  EXPECT_EQ(ErrorOf(instance.Start()), std::error_code());
  EXPECT_FALSE(instance.IsLost());
}

TEST_F(ServersLife, ACallOfALostInstanceIsNotSent) {
  Open();
  SessionInstance instance = MakeInstance(5);
  Restart(2);
  EXPECT_EQ(ErrorOf(instance.Start()), SessionError::kInstanceLost);
  EXPECT_TRUE(instance.IsLost());
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfGetInfo 0"));
}

TEST_F(ServersLife, ALostInstanceDestroysNothing) {
  Open();
  {
    const SessionInstance instance = MakeInstance(5);
    Restart(2);
  }
  // Its turn has come before the server answers otherwise.
  static_cast<void>(session_->GetInfo().get());
  SessionInstance again = MakeInstance(5);
  EXPECT_FALSE(again.IsLost());
  session_.reset();
  EXPECT_THAT(machine_.TakeRequests(), IsEmpty());
}

TEST_F(ServersLife, AssigningTheNewInstanceToTheLostOneDestroysNothing) {
  Open();
  SessionInstance instance = MakeInstance(5);
  Restart(2);
  instance = MakeInstance(5);
  EXPECT_EQ(ErrorOf(instance.Start()), std::error_code());
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfStart 5"));
}

TEST_F(ServersLife, AnInstanceWhoseServerEndedAsItWasMadeIsLost) {
  Open();
  machine_.answer = [](const FakeRequest&) { return FakeReply{.number = 5}; };
  machine_.Next(Fate::kLastOfItsServer);
  EXPECT_EQ(ErrorOf(session_->Create("general")), SessionError::kInstanceLost);
  session_.reset();
  EXPECT_THAT(machine_.TakeRequests(), ElementsAre("ZorIntfCreate 0"));
}

TEST_F(ServersLife, TheSessionConnectsOnlyAfterTheLibrary) {
  machine_.Next(Fate::kHeld);
  session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
  machine_.WaitForRequests(1);
  EXPECT_EQ(machine_.watches, 0);
  machine_.Release();
  EXPECT_TRUE(session_->WaitForServer(kPatience));
  EXPECT_EQ(machine_.watches, 1);
  static_cast<void>(session_->GetInfo().get());
  EXPECT_EQ(machine_.watches, 1);
}

TEST_F(ServersLife, ASessionThatIsNotToWatchMakesNoConnection) {
  options_.watch_server = false;
  Open();
  static_cast<void>(session_->GetInfo().get());
  EXPECT_EQ(machine_.watches, 0);
}

TEST_F(ServersLife, AServerThatCannotBeWatchedIsTakenForAnotherWhenItIsBack) {
  machine_.watchable = false;
  options_.look_interval = 20ms;
  Open();
  SessionInstance instance = MakeInstance(5);
  machine_.StopServer();
  log_.WaitFor(2);
  machine_.StartServer(1);
  EXPECT_THAT(log_.WaitForKinds(3),
              ElementsAre(Kind::kServerFound, Kind::kServerGone, Kind::kServerReplaced));
  EXPECT_EQ(ErrorOf(instance.Start()), SessionError::kInstanceLost);
}

TEST_F(ServersLife, AServerThatGetsRoomIsWatchedFromTheNextCallOn) {
  machine_.watchable = false;
  Open();
  SessionInstance instance = MakeInstance(5);
  machine_.watchable = true;
  EXPECT_EQ(ErrorOf(instance.Start()), std::error_code());
  Restart(2);
  EXPECT_EQ(ErrorOf(instance.Start()), SessionError::kInstanceLost);
}

TEST_F(ServersLife, ForAnotherServerTheAlgorithmsAreFetchedAgain) {
  machine_.answer = [](const FakeRequest&) {
    return FakeReply{.number = 5, .names = {"general", "whisper"}};
  };
  Open();
  static_cast<void>(session_->Enumerate().get());
  machine_.answer = [](const FakeRequest&) { return FakeReply{.number = 5, .names = {"whisper"}}; };
  Restart(2);
  SessionInstance instance = session_->Create("whisper").get();
  EXPECT_EQ(ErrorOf(instance.Set(kAlgorithmParameter, 0.0F)), SessionError::kAlgorithmsChanged);
  EXPECT_EQ(session_->Enumerate().get().size(), 1U);
}

TEST_F(ServersLife, WaitForServerWaitsForOneThatReplies) {
  machine_.StopServer();
  session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
  EXPECT_FALSE(session_->WaitForServer(30ms));
  machine_.StartServer();
  EXPECT_TRUE(session_->WaitForServer(kPatience));
  EXPECT_TRUE(session_->WaitForServer(0ms));
}

TEST_F(ServersLife, AServerThatDoesNotReplyIsNotThere) {
  options_.limit = 5ms;
  options_.look_interval = 20ms;
  for (int i = 0; i < 3; ++i) machine_.Next(Fate::kUnanswered);
  session_.emplace(std::make_unique<FakeSystem>(machine_), options_);
  machine_.WaitForRequests(3);
  EXPECT_EQ(machine_.watches, 0);
  EXPECT_TRUE(session_->WaitForServer(kPatience));
}

TEST_F(ServersLife, RestartsAreToldOnceAndInOrder) {
  options_.look_interval = 20ms;
  Open();
  std::size_t expected = 1;
  for (std::uint32_t process = 2; process < 60; ++process) {
    // Noticed by a look, or by a call.
    machine_.StopServer();
    if (process % 2 == 0) static_cast<void>(ErrorOf(session_->GetInfo()));
    log_.WaitFor(expected + 1);
    machine_.StartServer(process);
    expected += 2;
    const auto events = log_.WaitFor(expected);
    // A call that the end has met reloads: that is told too.
    std::vector<SessionEvent> servers;
    for (const SessionEvent& event : events) {
      if (event.kind != Kind::kReloaded) servers.push_back(event);
    }
    ASSERT_EQ(servers[servers.size() - 2].kind, Kind::kServerGone);
    ASSERT_EQ(servers.back().kind, Kind::kServerReplaced);
    ASSERT_EQ(servers.back().process, process);
    ASSERT_EQ(servers.size(), 2 * process - 1);
  }
}

}  // namespace
}  // namespace zor::testing
