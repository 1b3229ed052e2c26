/// A system for sessions without Windows: a library whose calls go to a server that the test
/// directs. Replies go through a connection in the order in which they were sent, as through a
/// pipe: one that comes late is taken for the next call's, unless the connection has been closed.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "interface/zor_session_system.hpp"

namespace zor::testing {

/// What reaches the server.
struct FakeRequest {
  std::string call;
  std::uint32_t handle = 0;
  std::string name = {};
  std::string value = {};
  float number = 0;
  std::vector<std::uint8_t> bytes = {};
};

/// What it replies.
struct FakeReply {
  ZorResult result = ZOR_SUCCESS;
  std::uint32_t number = 0;  ///< a handle, a status, the first word of information
  float value = 0;
  std::vector<std::uint8_t> bytes = {};
  std::vector<std::string> names = {};
};

/// What becomes of a request.
enum class Fate {
  kAnswered,
  kHeld,            ///< the reply is sent by FakeMachine::Release()
  kHalved,          ///< a message that is no reply is sent at once, and the rest of it by Release()
  kUnanswered,      ///< never
  kLastOfItsServer  ///< answered; then the server ends, and another one begins
};

/// A lock that can be waited for with patience. (Not a std::timed_mutex: TSan does not know its
/// locking.)
class PatientLock {
 public:
  /// False when it is not to be had.
  [[nodiscard]] bool TryLock();
  void Unlock();

 private:
  std::mutex mutex_;
  std::condition_variable freed_;
  bool taken_ = false;
};

/// The machine that a FakeSystem is on: the library's file, its connection, and the server. One at
/// a time.
class FakeMachine {
 public:
  FakeMachine();
  FakeMachine(const FakeMachine&) = delete;
  FakeMachine& operator=(const FakeMachine&) = delete;
  ~FakeMachine();

  // --- the server

  /// A process begins to serve; the first one does so by itself.
  void StartServer(std::uint32_t process = 1);
  /// It ends: its connections break.
  void StopServer();
  /// How it answers; by default with a success and the number of the request.
  std::function<FakeReply(const FakeRequest&)> answer;
  /// What becomes of the next request; when nothing is said, it is answered.
  void Next(Fate fate);
  /// All that come from now on are answered.
  void AnswerFromNowOn();
  /// Sends what was held, to whichever connection is still open.
  void Release();
  /// Waits until so many requests have come, and returns them.
  std::vector<FakeRequest> WaitForRequests(std::size_t count);
  [[nodiscard]] std::vector<FakeRequest> Requests();
  /// "ZorIntfStart 5", for each request since the last time.
  [[nodiscard]] std::vector<std::string> TakeRequests();
  /// Whether the server has a connection left for who watches it.
  std::atomic<bool> watchable{true};
  /// Connections that were made to watch it.
  std::atomic<int> watches{0};

  // --- the library

  /// Delivers a notification to the registered callback, on the calling thread. False without one.
  bool Notify(ZorEvent event);
  /// The loader's lock, which an unload holds while it waits for a running callback. False when it
  /// is not to be had: a deadlock.
  [[nodiscard]] bool TryLoaderLock();

  /// Why the file cannot be loaded; empty: it can.
  void RefuseToLoad(std::string why);
  std::atomic<bool> held{false};          ///< somebody else has loaded the library, too
  std::atomic<bool> keeps_loaded{false};  ///< unloading does nothing, though it says so
  std::atomic<int> cancels_to_miss{0};    ///< so many cancellations find no call that waits
  std::atomic<int> loads{0};
  std::atomic<int> cancels{0};
  std::atomic<bool> deadlocked{false};
  std::vector<std::thread::id> callers;  ///< of each call

  // --- for FakeSystem

  [[nodiscard]] std::string Load(SessionCalls& calls);
  [[nodiscard]] bool Unload();
  void Cancel();
  [[nodiscard]] bool SeesServer();
  [[nodiscard]] std::optional<ServerIdentity> WatchServer();
  [[nodiscard]] ZorResult Enumerate(std::uint32_t selector, ZorNameList* list);

 private:
  /// A call: its result, and the reply where that is a success.
  [[nodiscard]] std::pair<ZorResult, FakeReply> Exchange(FakeRequest request);
  [[nodiscard]] static SessionCalls Calls();
  static FakeMachine* self_;

  struct Message {
    int connection = 0;
    std::optional<FakeReply> reply = {};  ///< nothing: no valid message
  };

  std::mutex mutex_;
  std::string load_error_;
  std::condition_variable changed_;
  std::deque<Fate> fates_;
  std::vector<FakeRequest> requests_;
  std::size_t taken_ = 0;
  std::uint32_t process_ = 0;  ///< 0: there is no server
  int begun_ = 0;              ///< server processes so far
  bool watch_broken_ = false;
  bool watched_ = false;
  int connection_ = 0;  ///< 0: there is none
  int connections_ = 0;
  std::deque<Message> arrived_;
  std::vector<Message> owed_;
  bool waiting_ = false;
  bool cancelled_ = false;
  ZorEventCallback callback_ = nullptr;
  PatientLock loader_;
  PatientLock delivery_;
  std::vector<std::string> names_;
  std::vector<char*> items_;
};

/// A session's system on a FakeMachine.
class FakeSystem : public SessionSystem {
 public:
  explicit FakeSystem(FakeMachine& machine) : machine_(machine) {}

  void EnterWorker() override {}
  void LeaveWorker() noexcept override {}
  void CancelWorker() noexcept override { machine_.Cancel(); }
  [[nodiscard]] std::string Load(SessionCalls& calls) override { return machine_.Load(calls); }
  [[nodiscard]] bool Unload() noexcept override { return machine_.Unload(); }
  [[nodiscard]] ZorResult Enumerate(std::uint32_t selector, ZorNameList* list) override {
    return machine_.Enumerate(selector, list);
  }
  [[nodiscard]] bool SeesServer() noexcept override { return machine_.SeesServer(); }
  [[nodiscard]] std::optional<ServerIdentity> WatchServer() noexcept override {
    return machine_.WatchServer();
  }

 private:
  FakeMachine& machine_;
};

}  // namespace zor::testing
