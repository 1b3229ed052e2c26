/**
 * @file zor_session_core.hpp
 * @brief The two threads of a zor::Session. Header-only, C++17.
 *
 * Applications include zor_session.hpp.
 */
#ifndef ZOR_SESSION_CORE_HPP
#define ZOR_SESSION_CORE_HPP

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "zor_session_system.hpp"
#include "zor_session_types.hpp"

/// @cond INTERNAL
namespace zor::detail {

using SessionClock = std::chrono::steady_clock;

/// A call that has been asked for.
struct SessionTask {
  const char* name = "";                           ///< the export's
  std::function<std::error_code()> call;           ///< on the worker; keeps what it returns
  std::function<void(std::exception_ptr)> settle;  ///< gives the caller that, or the exception
  SessionClock::time_point deadline;
  bool settled = false;  ///< whoever sets it settles; guarded by the session's mutex
};

class SessionCore;

/// What the library calls, and what decides whether that goes any further. The library has one
/// callback, without an argument, so there is one of these.
///
/// The order of the steps matters. Who enters counts first and looks for the session then; who
/// closes takes the session away first and waits for the count then. So when Close() has returned
/// nobody is in the session's code, and whoever comes later leaves at once: unloading the library
/// then never waits for a callback, whatever that may be waiting for.
class EventShim {
 public:
  static void Open(SessionCore* core) noexcept { core_.store(core); }

  static void Close() noexcept {
    core_.store(nullptr);
    while (inside_.load() != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  static inline void OnEvent(ZorEvent* record);

 private:
  static inline std::atomic<SessionCore*> core_{nullptr};
  static inline std::atomic<int> inside_{0};
};

/// What a session is made of: a queue of calls, the worker that makes them and the watch that ends
/// those that take too long. Instances share it with their session.
///
/// A call that was ended has left its reply to come, and the library would take that for the next
/// call's. So whenever a deadline has passed the library is unloaded, which closes the connection,
/// and loaded again before anything else is sent. It does not matter what became of the call.
class SessionCore {
 public:
  SessionCore(SessionOptions options, std::unique_ptr<SessionSystem> system)
      : options_(std::move(options)), system_(std::move(system)) {
    if (exists_.exchange(true)) Throw(SessionError::kSecondSession, "zor::Session");
    try {
      worker_ = std::thread([this] { Work(); });
      watch_ = std::thread([this] { Watch(); });
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [this] { return began_; });
      if (!begin_error_.empty()) {
        throw std::system_error(SessionError::kLibraryNotLoaded, begin_error_);
      }
    } catch (...) {
      Close();
      throw;
    }
  }

  SessionCore(const SessionCore&) = delete;
  SessionCore& operator=(const SessionCore&) = delete;
  ~SessionCore() = default;

  /// Makes the calls that have been asked for, each within its limit, and ends the threads.
  void Close() noexcept {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closing_ = true;
    }
    work_.notify_all();
    changed_.notify_all();
    if (worker_.joinable()) worker_.join();
    if (watch_.joinable()) watch_.join();
    exists_.store(false);
  }

  /// Asks for a call. `call(T&)`, or `call()` for no value, is run on the worker.
  template <typename T, typename Call>
  [[nodiscard]] std::future<T> Ask(const char* name, std::optional<std::chrono::milliseconds> limit,
                                   Call call) {
    auto promise = std::make_shared<std::promise<T>>();
    std::future<T> future = promise->get_future();
    auto task = std::make_shared<SessionTask>();
    task->name = name;
    task->deadline = SessionClock::now() + limit.value_or(options_.limit);
    if constexpr (std::is_void_v<T>) {
      task->call = std::move(call);
      task->settle = [promise](const std::exception_ptr& error) {
        if (error != nullptr) {
          promise->set_exception(error);
        } else {
          promise->set_value();
        }
      };
    } else {
      auto value = std::make_shared<T>();
      task->call = [value, call = std::move(call)]() mutable { return call(*value); };
      // The value is the call's own: see Run().
      task->settle = [promise, kept = std::weak_ptr<T>(value)](const std::exception_ptr& error) {
        if (error != nullptr) {
          promise->set_exception(error);
        } else {
          promise->set_value(std::move(*kept.lock()));
        }
      };
    }
    Submit(task);
    return future;
  }

  // --- for the calls, on the worker

  [[nodiscard]] const SessionCalls& calls() const noexcept { return calls_; }

  /// What a call's result means for the session; the result as an error code.
  [[nodiscard]] std::error_code Take(ZorResult result) {
    if (result == ZOR_TRANSPORT_FAILURE) {
      // A part of the reply may still come, or more than one reply.
      const std::lock_guard<std::mutex> lock(mutex_);
      must_reload_ = true;
    }
    if (result == ZOR_TRANSPORT_FAILURE || result == ZOR_NOT_CONNECTED) {
      next_look_ = SessionClock::now();
    } else if (result != ZOR_UNKNOWN_ALGORITHM) {  // which needs no server
      MeetServer();
    }
    return MakeErrorCode(result);
  }

  /// Makes sure that the session knows which server the next call goes to.
  [[nodiscard]] std::error_code FindServer() {
    LookForServer();
    if (present_) return {};
    ZorServerInfo info = {0, 0, 0, 0};
    return Take(calls_.GetInfo(&info));
  }

  /// FindServer(), and that it is the one of `generation`.
  [[nodiscard]] std::error_code FindServer(std::uint64_t generation) {
    const std::error_code error = FindServer();
    if (error) return error;
    if (generation != generation_) return SessionError::kInstanceLost;
    return {};
  }

  /// What came of a call that has made something on the server: nothing, if that has ended by now.
  [[nodiscard]] bool StillServes(std::uint64_t generation) {
    LookForServer();
    return present_ && generation == generation_;
  }

  /// The list of algorithms, fetched once for each load of the library: each further call would
  /// change the ids.
  [[nodiscard]] std::error_code Algorithms(NameList& names) {
    if (!algorithms_ || enumerate_again_) {
      const std::error_code error = EnumerateAlgorithms();
      if (error) return error;
    }
    ids_changed_ = false;
    names = *algorithms_;
    return {};
  }

  [[nodiscard]] std::error_code Enumerate(std::uint32_t selector, NameList& names) {
    const ZorResult result = system_->Enumerate(selector, &list_);
    if (result == ZOR_SUCCESS) names = Copy(list_);
    return Take(result);
  }

  /// Before a call with the id of an algorithm: that the id means what it did when it was given
  /// out.
  [[nodiscard]] std::error_code CheckAlgorithmIds() {
    if (enumerate_again_) {
      const std::error_code error = EnumerateAlgorithms();
      if (error) return error;
    }
    if (ids_changed_) return SessionError::kAlgorithmsChanged;
    return {};
  }

  // --- for any thread

  [[nodiscard]] std::uint64_t generation() const noexcept { return generation_; }
  [[nodiscard]] std::uint64_t reloads() const noexcept { return reloads_; }
  [[nodiscard]] std::uint64_t dropped_events() const noexcept { return dropped_events_; }

  [[nodiscard]] bool WaitForServer(std::chrono::milliseconds limit) {
    if (OnWorker()) return present_;
    std::unique_lock<std::mutex> lock(mutex_);
    ++waiting_for_server_;
    work_.notify_all();
    changed_.wait_for(lock, limit, [this] { return present_ || closing_; });
    --waiting_for_server_;
    return present_;
  }

  std::size_t Poll() {
    std::deque<SessionEvent> events;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      events.swap(events_);
    }
    for (const SessionEvent& event : events) options_.on_event(event);
    return events.size();
  }

  /// A notification, on the library's thread.
  void Receive(const ZorEvent& record) noexcept {
    if (!options_.on_event) return;
    DropExceptions([&] {
      const Event event = Describe(record);
      SessionEvent told;
      told.type = event.type;
      told.flag = event.flag;
      told.value = event.value;
      if (event.text) told.text = std::string(*event.text);
      if (options_.delivery == Delivery::kDirect) {
        options_.on_event(told);
      } else {
        Queue(std::move(told));
      }
    });
  }

 private:
  // An ended call that was not waiting in a pipe at that moment may do so the next.
  static constexpr std::chrono::milliseconds kCancelAgain{5};
  // While somebody waits for the server.
  static constexpr std::chrono::milliseconds kLookAgain{20};

  [[nodiscard]] bool OnWorker() const noexcept {
    return std::this_thread::get_id() == worker_id_.load();
  }

  void Submit(const std::shared_ptr<SessionTask>& task) {
    if (OnWorker()) {  // from an event's callback: nobody else is there to make the call
      ReloadIfNeeded();
      Run(task);
      return;
    }
    bool closed = false;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closed = closing_;
      if (!closed) {
        queue_.push_back(task);
        WakeWatchFor(*task);
      }
    }
    if (closed) return Settle(*task, SessionError::kClosed);
    work_.notify_one();
  }

  /// With the mutex. As a rule the watch has an earlier deadline to wait for, of a call that is
  /// over by now: so it is woken seldom.
  void WakeWatchFor(const SessionTask& task) {
    if (task.deadline < watching_until_) changed_.notify_all();
  }

  static void Settle(SessionTask& task, std::error_code error) {
    task.settle(error ? std::make_exception_ptr(std::system_error(error, task.name)) : nullptr);
  }

  // --- the worker

  void Work() {
    worker_id_ = std::this_thread::get_id();
    system_->EnterWorker();
    OpenLibrary();
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      begin_error_ = load_error_;
      began_ = true;
    }
    changed_.notify_all();
    while (WorkOn()) {
    }
    static_cast<void>(CloseLibrary());
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ended_ = true;
    }
    changed_.notify_all();
    system_->LeaveWorker();
  }

  /// One step: an event, a new load, a call or a look. False at the end.
  [[nodiscard]] bool WorkOn() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!closing_ && !must_reload_ && !wake_poller_ && queue_.empty() && !HasEventToDeliver()) {
      work_.wait_until(lock, NextLook());
    }
    if (closing_ && queue_.empty()) return false;
    if (must_reload_) {
      lock.unlock();
      ReloadIfNeeded();
      return true;
    }
    if (std::exchange(wake_poller_, false) && options_.wake) {
      lock.unlock();
      options_.wake();
      return true;
    }
    // Events and calls by turns, so that neither holds up the other.
    if (HasEventToDeliver() && !closing_ && (queue_.empty() || !event_was_last_)) {
      const SessionEvent event = std::move(events_.front());
      events_.pop_front();
      event_was_last_ = true;
      lock.unlock();
      options_.on_event(event);
      return true;
    }
    event_was_last_ = false;
    if (!queue_.empty()) {
      const std::shared_ptr<SessionTask> task = std::move(queue_.front());
      queue_.pop_front();
      lock.unlock();
      Run(task);
      lock.lock();
    }
    const bool look = !closing_ && !must_reload_ && SessionClock::now() >= NextLook();
    lock.unlock();
    if (look) Look();
    return true;
  }

  [[nodiscard]] bool HasEventToDeliver() const {
    return options_.delivery != Delivery::kPoll && !events_.empty();
  }

  void Run(const std::shared_ptr<SessionTask>& task) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (task->settled) return;
      running_ = task;
      WakeWatchFor(*task);
    }
    std::exception_ptr error;
    try {
      const std::error_code code = LibraryIsThere() ? task->call() : RefusalOfLibrary();
      if (code == SessionError::kLibraryNotLoaded) {
        error = std::make_exception_ptr(std::system_error(code, load_error_));
      } else if (code) {
        error = std::make_exception_ptr(std::system_error(code, task->name));
      }
    } catch (const std::exception&) {  // no memory, here or in the library
      error = std::current_exception();
    }
    bool settles = false;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      running_ = nullptr;
      settles = !std::exchange(task->settled, true);
    }
    if (settles) task->settle(error);
    // What the call has made is dropped here when nobody waits for it any more. An instance then
    // asks for its destruction, on this thread, so that even a session that ends makes that call.
    task->call = nullptr;
  }

  /// Runs a call of the session's own.
  template <typename Call>
  void RunOwn(Call call) {
    const auto task = std::make_shared<SessionTask>();
    task->call = std::move(call);
    task->settle = [](const std::exception_ptr&) {};
    task->deadline = SessionClock::now() + options_.limit;
    Run(task);
  }

  // --- the worker: the library

  void OpenLibrary() {
    load_error_ = system_->Load(calls_);
    loaded_ = load_error_.empty();
    if (!loaded_) return;
    EventShim::Open(this);
    static_cast<void>(calls_.RegEventCallback(&EventShim::OnEvent));
  }

  [[nodiscard]] bool CloseLibrary() noexcept {
    if (!loaded_) return true;
    loaded_ = false;
    EventShim::Close();
    static_cast<void>(calls_.RegEventCallback(nullptr));
    return system_->Unload();
  }

  void ReloadIfNeeded() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!std::exchange(must_reload_, false)) return;
    }
    if (held_) return;
    if (!CloseLibrary()) {
      held_ = true;
      return Tell(SessionEventKind::kLibraryHeld);
    }
    enumerate_again_ = algorithms_.has_value();
    OpenLibrary();
    ++reloads_;
    Tell(SessionEventKind::kReloaded);
  }

  [[nodiscard]] bool LibraryIsThere() {
    if (!loaded_ && !held_) OpenLibrary();
    return loaded_;
  }

  [[nodiscard]] std::error_code RefusalOfLibrary() const {
    return held_ ? SessionError::kLibraryHeld : SessionError::kLibraryNotLoaded;
  }

  [[nodiscard]] static NameList Copy(const ZorNameList& list) {
    NameList names(list.count);
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (list.items[i] != nullptr) names[i] = list.items[i];
    }
    return names;
  }

  [[nodiscard]] std::error_code EnumerateAlgorithms() {
    NameList names;
    const std::error_code error = Enumerate(kAlgorithms, names);
    if (error) return error;
    if (algorithms_ && *algorithms_ != names) {
      ids_changed_ = true;
      Tell(SessionEventKind::kAlgorithmsChanged);
    }
    algorithms_ = std::move(names);
    enumerate_again_ = false;
    return {};
  }

  // --- the worker: the server's life

  /// When to look next. On the worker, with the mutex.
  [[nodiscard]] SessionClock::time_point NextLook() const {
    const bool awaited = waiting_for_server_ > 0 && !present_;
    return awaited ? (std::min)(next_look_, last_look_ + kLookAgain) : next_look_;
  }

  void Look() {
    last_look_ = SessionClock::now();
    next_look_ = last_look_ + (std::max)(options_.look_interval, kLookAgain);
    if (!LibraryIsThere()) return;
    LookForServer();
    if (!present_ && system_->SeesServer()) RunOwn([this] { return FindServer(); });
    if (present_ && enumerate_again_) RunOwn([this] { return EnumerateAlgorithms(); });
  }

  void LookForServer() {
    if (!present_ || system_->SeesServer()) return;
    SetPresent(false);
    watched_ = false;
    Tell(SessionEventKind::kServerGone, server_ ? server_->process : 0);
  }

  /// The library is connected to the server. Only now may the session connect too: a server with
  /// one connection to give has given it to the library.
  void MeetServer() {
    if (present_ && (watched_ || !options_.watch_server)) return;
    const std::optional<ServerIdentity> server =
        options_.watch_server ? system_->WatchServer() : std::nullopt;
    watched_ = server.has_value();
    if (present_) {
      if (server) server_ = server;
      return;
    }
    const bool same = server && server_ && *server == *server_;
    server_ = server;
    const std::uint32_t process = server ? server->process : 0;
    auto kind = SessionEventKind::kServerFound;
    if (met_) kind = same ? SessionEventKind::kServerBack : SessionEventKind::kServerReplaced;
    if (kind == SessionEventKind::kServerReplaced) {
      ++generation_;
      const std::lock_guard<std::mutex> lock(mutex_);
      if (algorithms_) must_reload_ = true;  // the ids are those of the server before
    }
    met_ = true;
    Tell(kind, process);
    SetPresent(true);
  }

  void SetPresent(bool present) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      present_ = present;
    }
    changed_.notify_all();
  }

  /// Never calls the application here, in the middle of a call.
  void Tell(SessionEventKind kind, std::uint32_t process = 0) {
    if (!options_.on_event) return;
    SessionEvent event;
    event.kind = kind;
    event.process = process;
    Queue(std::move(event));
  }

  void Queue(SessionEvent event) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (events_.size() >= options_.event_capacity) DropNotification();
      events_.push_back(std::move(event));
      if (options_.delivery == Delivery::kPoll) wake_poller_ = true;
    }
    work_.notify_one();
  }

  /// The oldest. What happens to the server is never dropped.
  void DropNotification() {
    const auto oldest = std::find_if(events_.begin(), events_.end(), [](const SessionEvent& event) {
      return event.kind == SessionEventKind::kNotification;
    });
    if (oldest == events_.end()) return;
    events_.erase(oldest);
    ++dropped_events_;
  }

  // --- the watch

  void Watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ended_) {
      const auto now = SessionClock::now();
      if (EndLateCalls(lock, now)) continue;
      watching_until_ = NextDeadline(now);
      if (watching_until_ == (SessionClock::time_point::max)()) {
        changed_.wait(lock);
      } else {
        changed_.wait_until(lock, watching_until_);
      }
    }
  }

  /// Tells the callers whose deadline has passed. Whether there were any.
  [[nodiscard]] bool EndLateCalls(std::unique_lock<std::mutex>& lock,
                                  SessionClock::time_point now) {
    std::vector<std::shared_ptr<SessionTask>> not_sent;
    const auto late = std::stable_partition(
        queue_.begin(), queue_.end(),
        [&](const std::shared_ptr<SessionTask>& task) { return task->deadline > now; });
    for (auto task = late; task != queue_.end(); ++task) {
      (*task)->settled = true;
      not_sent.push_back(std::move(*task));
    }
    queue_.erase(late, queue_.end());

    std::shared_ptr<SessionTask> ended;
    if (running_ != nullptr && running_->deadline <= now) {
      if (!std::exchange(running_->settled, true)) ended = running_;
      must_reload_ = true;
      // With the mutex: the call cannot be over, and its thread in the next one.
      system_->CancelWorker();
    }

    if (ended == nullptr && not_sent.empty()) return false;
    lock.unlock();
    if (ended != nullptr) Settle(*ended, SessionError::kTimedOut);
    for (const auto& task : not_sent) Settle(*task, SessionError::kNotSent);
    lock.lock();
    return true;
  }

  [[nodiscard]] SessionClock::time_point NextDeadline(SessionClock::time_point now) const {
    auto next = (SessionClock::time_point::max)();
    if (running_ != nullptr) next = running_->settled ? now + kCancelAgain : running_->deadline;
    for (const auto& task : queue_) next = (std::min)(next, task->deadline);
    return next;
  }

  static inline std::atomic<bool> exists_{false};

  const SessionOptions options_;
  const std::unique_ptr<SessionSystem> system_;

  std::mutex mutex_;
  std::condition_variable work_;     // for the worker
  std::condition_variable changed_;  // for all others
  // With the mutex:
  std::deque<std::shared_ptr<SessionTask>> queue_;
  std::shared_ptr<SessionTask> running_;
  std::deque<SessionEvent> events_;
  SessionClock::time_point watching_until_ = (SessionClock::time_point::min)();
  std::string begin_error_;
  int waiting_for_server_ = 0;
  bool wake_poller_ = false;
  bool must_reload_ = false;
  bool began_ = false;
  bool closing_ = false;
  bool ended_ = false;
  // Written by the worker alone:
  std::atomic<std::thread::id> worker_id_{};
  std::atomic<bool> present_{false};
  std::atomic<std::uint64_t> generation_{0};
  std::atomic<std::uint64_t> reloads_{0};
  std::atomic<std::uint64_t> dropped_events_{0};
  // The worker's own:
  SessionCalls calls_ = {};
  std::string load_error_;
  bool loaded_ = false;
  bool held_ = false;
  std::optional<ServerIdentity> server_;
  bool met_ = false;
  bool watched_ = false;
  std::optional<NameList> algorithms_;
  ZorNameList list_ = {0, nullptr};
  bool enumerate_again_ = false;
  bool ids_changed_ = false;
  bool event_was_last_ = false;
  SessionClock::time_point last_look_;
  SessionClock::time_point next_look_;

  std::thread worker_;
  std::thread watch_;
};

inline void EventShim::OnEvent(ZorEvent* record) {
  inside_.fetch_add(1);
  SessionCore* const core = core_.load();
  if (core != nullptr) core->Receive(*record);
  inside_.fetch_sub(1);
}

}  // namespace zor::detail
/// @endcond

#endif
