// Very many calls and enumerations, after which the process holds what it held before.
#include <gtest/gtest.h>
#include <objbase.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/faults/tally.h"
#include "tests/hostile/support/caller.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/cycles.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/wire.h"

namespace zor::hostile {
namespace {

using faults::Scaled;
using faults::Tally;
using testing::ExpectNoMoreThan;
using testing::LoadedLibrary;
using testing::PipeServer;
using testing::ServerEnd;
using testing::SettleWithin;
using testing::Usage;

/// A connected server whose replies wait in the pipe: one thread is both ends.
class Endurance : public ::testing::Test {
 protected:
  Endurance() {
    std::jthread first([this] {
      EXPECT_TRUE(server_.WaitForClient());
      EXPECT_TRUE(server_.Read());
      EXPECT_TRUE(server_.Write(testing::SuccessReply()));
    });
    EXPECT_EQ(library_->Start(1), ZOR_SUCCESS);
  }

  template <typename Call>
  void Exchange(const Bytes& reply, const Call& call) {
    ASSERT_TRUE(server_.Write(reply));
    call();
    ASSERT_TRUE(server_.Read());
  }

  // Keeps the listener from trying to connect, and from its log, all the time.
  PipeServer notify_{testing::kNotifyPipe, testing::StayIdle};
  ServerEnd server_{testing::kRequestPipe};
  LoadedLibrary library_;
};

TEST_F(Endurance, OfCallsLeavesNothing) {
  const std::size_t rounds = Scaled(400, 1'000'000 / RemoteCalls().size() + 1);
  const Bytes refusal = testing::FullReply(5);
  const Bytes garbage(100, 0xEE);
  Caller caller(library_);
  std::size_t calls = 0;
  Usage before;
  for (std::size_t round = 0; round <= rounds && !HasFailure(); ++round) {
    for (const RemoteCall& remote : RemoteCalls()) {
      const bool refused = round % 8 == 6;
      const bool good = round % 8 < 6;
      Exchange(good      ? remote.reply()
               : refused ? refusal
                         : garbage,
               [&] {
                 EXPECT_EQ(caller.Call(remote), good ? 0U : refused ? 5U : 1U);
               });
      ++calls;
    }
    if (round == 8) before = SettleWithin(Usage{}, 1000);
  }
  ExpectNoMoreThan(before);
  Tally("calls without a leak", calls);
}

class Com {
 public:
  Com() { EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))); }
  Com(const Com&) = delete;
  Com& operator=(const Com&) = delete;
  ~Com() { CoUninitialize(); }
};

class Enumerations : public Endurance {
 protected:
  Enumerations() {
    wmi_.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                         {L"DriverVersion", {.text = L"1.0.0.5"}}});
    const auto package = machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    testing::Machine::AddLibrary(package, L"K270502.dll", L"zor_test_answers.dll");
  }

  void Enumerate(const LoadedLibrary& library) {
    Exchange(reply_, [&] { EXPECT_EQ(library->Enum(kAlgorithms, &list_), ZOR_SUCCESS); });
    wmi_.calls.clear();
    EXPECT_EQ(wmi_.live_objects, 0);
  }

  static constexpr std::uint32_t kAlgorithms = 2;
  static inline const std::vector<std::string> kNames{"general", "private", "whisper"};

  Com com_;
  testing::WmiStandIn wmi_;
  testing::Machine machine_;
  const Bytes reply_ = testing::EnumReply(static_cast<std::uint32_t>(kNames.size()), kNames);
  ZorNameList list_{};
};

TEST_F(Enumerations, LeaveTheIdTablesRowsOnly) {
  // A row is a name, which fits its object, and two ids; the table at most twice as long as needed.
  constexpr std::size_t kRowBytes = 40;
  const std::size_t count = Scaled(300, 10'000);
  for (int i = 0; i < testing::kWarmUpCycles; ++i) Enumerate(library_);
  const Usage before = SettleWithin(Usage{}, 1000);
  for (std::size_t i = 0; i < count && !HasFailure(); ++i) {
    Enumerate(library_);
    ASSERT_GT(list_.count, 0U);
  }
  const std::size_t rows = (testing::kWarmUpCycles + count) * kNames.size();
  Usage with_table = before;
  with_table.heap_bytes += 2 * rows * kRowBytes;
  ExpectNoMoreThan(with_table);

  Exchange(testing::SuccessReply(),
           [&] { EXPECT_EQ(library_->Enum(kAlgorithms, &list_), ZOR_SUCCESS); });
  // With the library the table goes, too.
  library_.Unload();
  ExpectNoMoreThan(before);
  Tally("enumerations without a leak", count);
}

}  // namespace
}  // namespace zor::hostile
