// The calls: which export each makes, what it returns, and how it reports.
#include <array>
#include <atomic>
#include <functional>
#include <thread>

#include "tests/cpp/client_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr ZorResult kRefused = 77;

TEST(ResultCategory, NamesTheResults) {
  EXPECT_STREQ(ResultCategory().name(), "zor");
  EXPECT_EQ(MakeErrorCode(ZOR_SUCCESS).message(), "success");
  EXPECT_EQ(MakeErrorCode(ZOR_TRANSPORT_FAILURE).message(),
            "there is no valid reply from the server, or a local step failed");
  EXPECT_EQ(MakeErrorCode(ZOR_NOT_CONNECTED).message(),
            "the server is not running, is busy or denies access");
  EXPECT_EQ(MakeErrorCode(ZOR_UNKNOWN_ALGORITHM).message(), "no algorithm in the list has this id");
  EXPECT_EQ(MakeErrorCode(kRefused).message(), "the server returned 77");
  EXPECT_EQ(MakeErrorCode(0xFFFFFFFF).message(), "the server returned 4294967295");
}

TEST(ResultCategory, ComparesWithResultsAndWithTheStandardsConditions) {
  EXPECT_FALSE(MakeErrorCode(ZOR_SUCCESS));
  EXPECT_TRUE(MakeErrorCode(0xFFFFFFFF));
  const std::error_code not_connected = Result::kNotConnected;
  EXPECT_EQ(not_connected, MakeErrorCode(ZOR_NOT_CONNECTED));
  EXPECT_EQ(not_connected, std::errc::not_connected);
  EXPECT_EQ(MakeErrorCode(ZOR_TRANSPORT_FAILURE), std::errc::io_error);
  EXPECT_NE(MakeErrorCode(ZOR_UNKNOWN_ALGORITHM), std::errc::io_error);
  EXPECT_EQ(MakeErrorCode(kRefused).default_error_condition(),
            std::error_condition(77, ResultCategory()));
  EXPECT_EQ(MakeErrorCode(ZOR_SUCCESS).default_error_condition(),
            std::error_condition(0, ResultCategory()));
}

TEST_F(ClientTest, GetsTheInformation) {
  answer_.server_info = messages::ServerInfo(1, 2, 3, 4);
  const ZorServerInfo info = client_.GetInfo();
  EXPECT_EQ(info.info0, 1U);
  EXPECT_EQ(info.info3, 4U);
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfGetInfo 0"));
}

TEST_F(ClientTest, ListsNamesAndTheirAbsence) {
  answer_.enum_result = Reply::Names{.count = 3, .names = {{"general", "private"}}};
  const NameList names = client_.Enumerate(1);
  EXPECT_EQ(LastRequest()->enum_type(), 1);
  EXPECT_THAT(names, ElementsAre("general", "private", std::nullopt));

  // The library's list is freed by the next call, this one is not.
  answer_.enum_result = Reply::Names{.count = 1, .names = {{"whisper"}}};
  EXPECT_THAT(client_.Enumerate(1), ElementsAre("whisper"));
  EXPECT_THAT(names, ElementsAre("general", "private", std::nullopt));
}

TEST_F(ClientTest, KeepsOneListForTheWholeProcess) {
  answer_.enum_result = Reply::Names{.count = 2, .names = {{"general", "private"}}};
  static_cast<void>(client_.Enumerate(1));
  const std::size_t held = TheHeap().BlockCount();
  static_cast<void>(Client().Enumerate(1));
  EXPECT_EQ(TheHeap().BlockCount(), held);
}

TEST_F(ClientTest, CreatesWithTheTextsThatAreGiven) {
  answer_.handle = 9;
  const Instance instance = client_.Create("general", "first");
  EXPECT_EQ(instance.handle(), 9U);
  EXPECT_EQ(LastRequest()->func_name()->str(), "ZorIntfCreate");
  EXPECT_EQ(LastRequest()->text_param()->name()->str(), "general");
  EXPECT_EQ(LastRequest()->text_param()->value()->str(), "first");

  static_cast<void>(client_.Create("general").Release());
  EXPECT_EQ(LastRequest()->text_param()->value(), nullptr);
}

TEST_F(ClientTest, ControlsAnInstance) {
  Instance instance = MakeInstance();
  instance.Config("rate", "48000");
  EXPECT_EQ(LastRequest()->text_param()->name()->str(), "rate");
  EXPECT_EQ(LastRequest()->text_param()->value()->str(), "48000");
  instance.Start();
  answer_.status = 3;
  EXPECT_EQ(instance.GetStatus(), 3U);
  instance.Stop();
  instance.Destroy();
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfConfig 5", "ZorIntfStart 5", "ZorIntfGetStatus 5",
                                          "ZorIntfStop 5", "ZorIntfDestroy 5"));
}

TEST_F(ClientTest, SetsAndGetsAParameter) {
  Instance instance = MakeInstance();
  EXPECT_EQ(instance.Set("gain", 0.25F), 0.25F);
  EXPECT_EQ(LastRequest()->float_param()->name()->str(), "gain");
  EXPECT_EQ(LastRequest()->float_param()->value(), 0.25F);
  answer_.float_param = 0.75F;
  EXPECT_EQ(instance.Set("gain", 0.25F), 0.75F);
  EXPECT_EQ(instance.Get("gain"), 0.75F);
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfSet 5", "ZorIntfSet 5", "ZorIntfGet 5"));
}

TEST_F(ClientTest, SpellsTheAlgorithmParameterAsTheServerDoes) {
  Instance instance = MakeInstance();
  std::error_code error;
  EXPECT_EQ(instance.Set(kAlgorithmParameter, 1.0F, error), 1.0F);
  EXPECT_EQ(error, Result::kUnknownAlgorithm);
  EXPECT_THAT(TakeRequests(), IsEmpty());

  answer_.float_param = 4.0F;
  EXPECT_EQ(instance.Get(kAlgorithmParameter, error), 4.0F);
  EXPECT_EQ(error, Result::kUnknownAlgorithm);
}

TEST_F(ClientTest, SetsABlock) {
  Instance instance = MakeInstance();
  const std::array<std::uint8_t, 3> bytes = {1, 2, 3};
  instance.SetSerialized("preset", bytes.data(), bytes.size());
  const auto* block = LastRequest()->blob_param();
  EXPECT_EQ(block->name()->str(), "preset");
  EXPECT_EQ(block->size(), 3U);
  EXPECT_THAT(std::vector<std::uint8_t>(block->data()->begin(), block->data()->end()),
              ElementsAre(1, 2, 3));
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfSetSerialized 5"));
}

TEST_F(ClientTest, RefusesABlockOfASizeThatTheRecordCannotTell) {
  Instance instance = MakeInstance();
  const std::uint8_t byte = 0;
  std::error_code error;
  instance.SetSerialized("preset", &byte, std::size_t{1} << 32U, error);
  EXPECT_EQ(error, Result::kTransportFailure);
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(ClientTest, GetsABlock) {
  const Instance instance = MakeInstance();
  answer_.blob_result = Reply::Block{.name = "preset", .size = 2, .data = Bytes{7, 8}};
  const std::uint8_t sent = 9;
  const Blob blob = instance.GetSerialized("preset", &sent, 1);
  EXPECT_STREQ(blob.name(), "preset");
  EXPECT_THAT(std::vector<std::uint8_t>(blob.begin(), blob.end()), ElementsAre(7, 8));
  EXPECT_EQ(LastRequest()->blob_param()->data()->size(), 1U);

  EXPECT_TRUE(instance.GetSerialized("preset"));
  EXPECT_EQ(LastRequest()->blob_param()->size(), 0U);
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfGetSerialized 5", "ZorIntfGetSerialized 5"));
}

/// Every call in both its forms: the throwing one, and the one that stores.
struct BothForms {
  const char* name;
  std::function<void(const Client&, Instance&)> throwing;
  std::function<void(const Client&, Instance&, std::error_code&)> storing;
};

const std::array<BothForms, 11> kCalls = {{
    {"ZorIntfConfig", [](auto&, auto& instance) { instance.Config("a", "b"); },
     [](auto&, auto& instance, auto& error) { instance.Config("a", "b", error); }},
    {"ZorIntfCreate", [](auto& client, auto&) { static_cast<void>(client.Create("a")); },
     [](auto& client, auto&, auto& error) {
       const Instance made = client.Create("a", nullptr, error);
       EXPECT_EQ(static_cast<bool>(made), !error);
     }},
    {"ZorIntfDestroy", [](auto&, auto& instance) { instance.Destroy(); },
     [](auto&, auto& instance, auto& error) { instance.Destroy(error); }},
    {"ZorIntfEnum", [](auto& client, auto&) { static_cast<void>(client.Enumerate()); },
     [](auto& client, auto&, auto& error) { EXPECT_THAT(client.Enumerate(2, error), IsEmpty()); }},
    {"ZorIntfGet", [](auto&, auto& instance) { static_cast<void>(instance.Get("a")); },
     [](auto&, auto& instance, auto& error) { EXPECT_EQ(instance.Get("a", error), 0.0F); }},
    {"ZorIntfGetInfo", [](auto& client, auto&) { static_cast<void>(client.GetInfo()); },
     [](auto& client, auto&, auto& error) { EXPECT_EQ(client.GetInfo(error).info0, 0U); }},
    {"ZorIntfGetSerialized",
     [](auto&, auto& instance) { static_cast<void>(instance.GetSerialized("a")); },
     [](auto&, auto& instance, auto& error) { EXPECT_FALSE(instance.GetSerialized("a", error)); }},
    {"ZorIntfGetStatus", [](auto&, auto& instance) { static_cast<void>(instance.GetStatus()); },
     [](auto&, auto& instance, auto& error) { EXPECT_EQ(instance.GetStatus(error), 0U); }},
    {"ZorIntfSetSerialized", [](auto&, auto& instance) { instance.SetSerialized("a", nullptr, 0); },
     [](auto&, auto& instance, auto& error) { instance.SetSerialized("a", nullptr, 0, error); }},
    {"ZorIntfStart", [](auto&, auto& instance) { instance.Start(); },
     [](auto&, auto& instance, auto& error) { instance.Start(error); }},
    {"ZorIntfStop", [](auto&, auto& instance) { instance.Stop(); },
     [](auto&, auto& instance, auto& error) { instance.Stop(error); }},
}};

TEST_F(ClientTest, ThrowsAServersResultWithTheExportsName) {
  for (const BothForms& call : kCalls) {
    SCOPED_TRACE(call.name);
    Instance instance = MakeInstance();
    answer_.result = kRefused;
    try {
      call.throwing(client_, instance);
      ADD_FAILURE() << "nothing was thrown";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), MakeErrorCode(kRefused));
      EXPECT_THAT(error.what(), HasSubstr(std::string(call.name) + ": the server returned 77"));
    }
    answer_.result = ZOR_SUCCESS;
  }
}

TEST_F(ClientTest, StoresAServersResultAndClearsItOnSuccess) {
  for (const BothForms& call : kCalls) {
    SCOPED_TRACE(call.name);
    Instance instance = MakeInstance();
    answer_.result = kRefused;
    std::error_code error;
    call.storing(client_, instance, error);
    EXPECT_EQ(error, MakeErrorCode(kRefused));
    answer_.result = ZOR_SUCCESS;
    call.storing(client_, instance, error);
    EXPECT_FALSE(error) << error.message();
  }
}

TEST_F(ClientTest, ReportsThatTheServerIsNotThere) {
  ThePipes().CloseConnections(kRequestPipe);
  ThePipes().Remove(kRequestPipe);
  std::error_code error;
  static_cast<void>(client_.GetInfo(error));
  EXPECT_EQ(error, std::errc::not_connected);
  EXPECT_THROW(static_cast<void>(client_.GetInfo()), std::system_error);
}

TEST_F(ClientTest, HoldsTheMutexWhileItCallsAndNoLonger) {
  std::mutex mutex;
  const auto is_held = [&mutex] {
    bool held = true;
    std::thread([&] {
      if (mutex.try_lock()) {
        held = false;
        mutex.unlock();
      }
    }).join();
    return held;
  };
  int held_calls = 0;
  ThePipes().Listen(kRequestPipe, [&](const Bytes&) {
    if (is_held()) ++held_calls;
    return std::vector<Bytes>{Build(Reply{.result = kRefused})};
  });

  const Client guarded(mutex);
  Instance instance(guarded, 5);
  for (const BothForms& call : kCalls) {
    SCOPED_TRACE(call.name);
    const int before = held_calls;
    EXPECT_THROW(call.throwing(guarded, instance), std::system_error);
    EXPECT_EQ(held_calls, before + 1);
    EXPECT_FALSE(is_held());
  }
  EXPECT_THROW(instance.Set("gain", 1.0F), std::system_error);
  EXPECT_EQ(held_calls, static_cast<int>(kCalls.size()) + 1);

  std::error_code error;
  static_cast<void>(client_.GetInfo(error));
  EXPECT_EQ(held_calls, static_cast<int>(kCalls.size()) + 1) << "a client without a mutex took it";
  static_cast<void>(instance.Release());
}

TEST_F(ClientTest, MayBeCalledFromSeveralThreadsWithAMutex) {
  constexpr int kRounds = 100;
  std::mutex mutex;
  const Client guarded(mutex);
  answer_.enum_result = Reply::Names{.count = 1, .names = {{"general"}}};
  answer_.handle = 5;
  answer_.server_info = messages::ServerInfo(1, 2, 3, 4);
  std::atomic<int> good = 0;
  const auto work = [&] {
    for (int i = 0; i < kRounds; ++i) {
      const Instance instance = guarded.Create("general");
      if (guarded.Enumerate(1).front() == "general" && instance.handle() == 5 &&
          guarded.GetInfo().info3 == 4) {
        ++good;
      }
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_EQ(good, 2 * kRounds);
}

}  // namespace
}  // namespace zor::scripted
