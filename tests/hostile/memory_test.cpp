// No memory for the real library: each of its allocations refused, alone or with all that follow,
// on threads that have never met an exception.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/faults/tally.h"
#include "tests/hostile/support/remote_calls.h"
#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"
#include "tests/integration/support/cycles.h"
#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/handle.h"
#include "tests/integration/support/import_faults.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/process_usage.h"
#include "tests/kit/events.h"
#include "tests/kit/messages.h"

namespace zor::hostile {
namespace {

using faults::Tally;
using testing::DebugCapture;
using testing::EventRecorder;
using testing::Import;
using testing::ImportFaults;
using testing::LoadedLibrary;
using testing::PipeServer;
using testing::ServerEnd;
using testing::Which;
using testing::Whose;

/// How a call ended to which memory was refused.
struct Outcome {
  bool refused = false;
  bool thrown = false;
  ZorResult result = ZOR_SUCCESS;
};

/// Makes `call` on a thread of its own, for which these are the first exceptions.
template <typename Call>
Outcome WithoutMemory(int nth, Which which, const Call& call) {
  Outcome outcome;
  std::jthread([&] {
    ImportFaults::Fail(Import::kMemory, nth, which);
    try {
      outcome.result = call();
    } catch (const std::bad_alloc&) {
      outcome.thrown = true;
    }
    outcome.refused = ImportFaults::Stop();
  }).join();
  return outcome;
}

/// Calls `attempt` with 1, 2, ... in both ways, until it says that nothing was refused. How often.
template <typename Attempt>
std::size_t ForEachAllocation(const Attempt& attempt) {
  std::size_t tried = 0;
  for (const Which which : {Which::kOne, Which::kAllFrom}) {
    for (int nth = 1;; ++nth, ++tried) {
      SCOPED_TRACE((which == Which::kOne ? "allocation " : "from allocation ") +
                   std::to_string(nth));
      if (!attempt(nth, which) || ::testing::Test::HasFatalFailure()) break;
    }
  }
  return tried;
}

// --- calls

class MemoryOfCalls : public ::testing::TestWithParam<RemoteCall> {
 protected:
  /// On a connected channel, or one that must be. False when nothing was refused.
  bool Attempt(const LoadedLibrary& library, int nth, Which which) {
    Records records(Edge::kBack);
    const Outcome outcome = WithoutMemory(
        nth, which, [&] { return GetParam().call(library.exports(), records.All()); });
    const bool lists = std::string_view(GetParam().name) == "ZorIntfEnum";
    if (outcome.thrown) {
      EXPECT_TRUE(lists ? records.OnlyOutputsTouched() && IsPartOf(*records.list)
                        : records.Untouched());
    } else if (outcome.result != ZOR_SUCCESS) {
      // Of the block that is handed out.
      EXPECT_EQ(outcome.result, ZorResult{ZOR_TRANSPORT_FAILURE});
      EXPECT_EQ(records.output->data, nullptr);
      EXPECT_STREQ(GetParam().name, "ZorIntfGetSerialized");
    }
    EXPECT_TRUE(outcome.refused || outcome.result == ZOR_SUCCESS);

    Records next(Edge::kBack);
    EXPECT_EQ(GetParam().call(library.exports(), next.All()), ZorResult{ZOR_SUCCESS});
    return outcome.refused;
  }

 private:
  /// The reply's list as far as there was memory: the rest of its slots are null.
  static bool IsPartOf(const ZorNameList& list) {
    if (list.count == 0) return list.items == nullptr;
    const bool has_first = list.items[0] != nullptr;
    return list.count == 2 && list.items[1] == nullptr &&
           (!has_first || std::string_view(list.items[0]) == "general");
  }

  ImportFaults faults_;
  PipeServer server_{testing::kRequestPipe,
                     [](ServerEnd& end) {
                       while (end.Read() && end.Write(GetParam().reply())) {
                       }
                     },
                     4};
};

TEST_P(MemoryOfCalls, ThatIsMissingFailsThatCallOnly) {
  const LoadedLibrary library;
  Records connecting(Edge::kBack);
  ASSERT_EQ(GetParam().call(library.exports(), connecting.All()), ZorResult{ZOR_SUCCESS});
  const std::size_t tried =
      ForEachAllocation([&](int nth, Which which) { return Attempt(library, nth, which); });
  EXPECT_GT(tried, 0U);
  Tally("calls without memory", tried);
}

TEST_P(MemoryOfCalls, ThatIsMissingWhileConnectingThrowsOrFails) {
  const std::size_t tried = ForEachAllocation([&](int nth, Which which) {
    const LoadedLibrary library;
    return Attempt(library, nth, which);
  });
  EXPECT_GT(tried, 2U);  // the log line's two, and the call's own
  Tally("calls without memory", tried);
}

INSTANTIATE_TEST_SUITE_P(Exports, MemoryOfCalls,
                         ::testing::ValuesIn(RemoteCalls().begin(), RemoteCalls().end()),
                         [](const auto& suite) { return NameOf(suite.param); });

// --- many threads

struct ThrowingThread {
  const LoadedLibrary* library;
  const testing::Event* thrown;
  const testing::Event* end;

  static DWORD WINAPI Run(void* argument) {
    const ThrowingThread self = *static_cast<const ThrowingThread*>(argument);
    for (int i = 0; i < 2; ++i) {
      ImportFaults::Fail(Import::kMemory);
      EXPECT_THROW(static_cast<void>((*self.library)->Start(1)), std::bad_alloc);
      EXPECT_TRUE(ImportFaults::Stop());
    }
    self.thrown->Set();
    // Until all the others have met theirs, which takes as long as it takes.
    WaitForSingleObject(self.end->get(), INFINITE);
    return 0;
  }
};

/// Loads, lets so many threads that live at the same time meet exceptions, one by one, and unloads.
void MeetExceptionsOn(std::size_t threads) {
  PipeServer server(testing::kRequestPipe, testing::AnswerAll);
  LoadedLibrary library;
  ASSERT_EQ(library->Start(1), ZorResult{ZOR_SUCCESS});  // connects, which logs
  const testing::Event end;
  std::vector<testing::UniqueHandle> running;
  for (std::size_t i = 0; i < threads; ++i) {
    const testing::Event thrown;
    ThrowingThread thread{&library, &thrown, &end};
    // Not the standard's threads: those keep some handles for the next.
    running.push_back(testing::Require(
        CreateThread(nullptr, 0, ThrowingThread::Run, &thread, 0, nullptr), "CreateThread"));
    EXPECT_TRUE(thrown.WaitMs(testing::kPatienceMs));
    if (::testing::Test::HasFailure()) break;
  }
  end.Set();
  for (const auto& thread : running) {
    EXPECT_EQ(WaitForSingleObject(thread.get(), testing::kPatienceMs), WAIT_OBJECT_0);
  }
  testing::Unload(library);
}

// Beyond a number of threads the library allocates what the runtime keeps for each.
TEST(MemoryOfThreads, GoesWithTheLibrary) {
  const ImportFaults faults;
  constexpr std::size_t kThreads = 200;
  MeetExceptionsOn(kThreads);
  const testing::Usage before = testing::SettleWithin(testing::Usage{}, 1000);
  MeetExceptionsOn(kThreads);
  testing::ExpectNoMoreThan(before);
}

// --- the enumeration

class MemoryOfTheEnumeration : public ::testing::Test {
 protected:
  MemoryOfTheEnumeration() {
    wmi_.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                         {L"DriverVersion", {.text = L"1.0.0.5"}}});
    const auto package = machine_.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
    testing::Machine::AddLibrary(package, L"K270502.dll", L"zor_test_answers.dll");
  }

  ImportFaults faults_;
  testing::Com com_;
  testing::WmiStandIn wmi_;
  testing::Machine machine_;
  PipeServer server_{
      testing::kRequestPipe, [](ServerEnd& end) {
        const Bytes reply = testing::Build(testing::ListOf({"general", "private", "whisper"}));
        while (end.Read() && end.Write(reply)) {
        }
      }};
};

TEST_F(MemoryOfTheEnumeration, ThatIsMissingThrowsAndTheNextOneSucceeds) {
  constexpr std::uint32_t kAlgorithms = 2;
  const LoadedLibrary library;
  ZorNameList list{};
  ASSERT_EQ(library->Enum(kAlgorithms, &list), ZorResult{ZOR_SUCCESS});  // connects, which logs
  const std::size_t tried = ForEachAllocation([&](int nth, Which which) {
    const Outcome outcome = WithoutMemory(nth, which, [&] {
      const testing::Com com;
      return library->Enum(kAlgorithms, &list);
    });
    EXPECT_EQ(outcome.thrown, outcome.refused);
    wmi_.calls.clear();
    return outcome.refused;
  });
  EXPECT_GT(tried, 100U);
  EXPECT_EQ(library->Enum(kAlgorithms, &list), ZorResult{ZOR_SUCCESS});
  EXPECT_GT(list.count, 0U);
  EXPECT_EQ(wmi_.live_objects, 0);
  Tally("enumerations without memory", tried);
}

// --- the listener

class MemoryOfTheListener : public ::testing::Test {
 protected:
  /// Loads the library, sends it two events, and expects both.
  void ExpectDelivery() {
    ServerEnd server(testing::kNotifyPipe);
    EventRecorder recorder;
    LoadedLibrary library;
    library->RegEventCallback(EventRecorder::OnEvent);
    ASSERT_TRUE(server.WaitForClient());
    for (std::uint32_t i = 0; i < 2; ++i) {
      ASSERT_TRUE(server.Write(testing::Build(testing::Notification{.type = 1, .value = i})));
    }
    EXPECT_EQ(recorder.WaitFor(2).size(), 2U);
    // In this order: the library is unloaded before the recorder that it calls is gone.
    library.Unload();
  }

  ImportFaults faults_;
};

TEST_F(MemoryOfTheListener, ThatIsMissingDropsALineAndNoEvent) {
  const std::size_t tried = ForEachAllocation([&](int nth, Which which) {
    const DebugCapture log;
    ImportFaults::Fail(Import::kMemory, nth, which, Whose::kOthers);
    ExpectDelivery();
    const bool refused = ImportFaults::Stop();
    const auto lines = static_cast<int>(log.Others().size());
    // Two of connecting, two of events.
    EXPECT_EQ(lines, !refused ? 4 : which == Which::kOne ? 3 : (nth - 1) / 2);
    return refused;
  });
  EXPECT_EQ(tried, 16U);
  Tally("listeners without memory", tried);
}

}  // namespace
}  // namespace zor::hostile
