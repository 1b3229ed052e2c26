#include "simulator/server.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <mutex>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "simulator/engine.h"
#include "simulator/message_builder.h"
#include "simulator/win32/connections.h"
#include "simulator/win32/notify_hub.h"
#include "simulator/win32/pipe_io.h"
#include "simulator/win32/pipe_listener.h"
#include "tools/windows/handle.h"

namespace zor::sim {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const wchar_t* kRequestPipe = L"\\\\.\\Pipe\\ZorSWNRpipe";
constexpr const wchar_t* kNotifyPipe = L"\\\\.\\Pipe\\ZorSWNRpipeNotify";

// How many instances listen. A client that finds none fails at once; one of the notification pipe
// tries again, and each of those that listen costs every notification a little.
constexpr std::size_t kRequestInstances = 16;
constexpr std::size_t kNotifyInstances = 4;

// How long reopening the pipes is tried: their names may outlive them for a moment.
constexpr int kReopenTries = 100;
constexpr DWORD kReopenPause = 50;

std::string WhyNotOpened(const wchar_t* pipe, DWORD error) {
  const std::wstring wide(pipe);
  std::string text = "cannot create the pipe " + std::string(wide.begin(), wide.end()) + ": ";
  if (error == ERROR_ACCESS_DENIED || error == ERROR_PIPE_BUSY || error == ERROR_ALREADY_EXISTS) {
    return text +
           "it exists already. Another server is running (zorsim --stop ends a zorsim), or "
           "a client still holds the pipe of one that was killed.";
  }
  return text + "system error " + std::to_string(error);
}

DWORD ToWait(std::optional<milliseconds> due, milliseconds now) {
  if (!due) return INFINITE;
  return *due <= now ? 0 : static_cast<DWORD>((*due - now).count());
}

}  // namespace

class Server::Impl {
 public:
  Impl(Scenario scenario, ServerObserver observer)
      : observer_(std::move(observer)),
        engine_(std::move(scenario)),
        hub_(engine_.scenario().limits.queued_notifications),
        requests_listener_(
            kRequestPipe, kRequestInstances,
            {.on_listening = [](const PipeInstance&) {},
             .on_client = [this](const PipeInstance& pipe) { AddRequestClient(pipe); },
             .on_unused = [](const PipeInstance&) {}}),
        notify_listener_(kNotifyPipe, kNotifyInstances,
                         {.on_listening = [this](const PipeInstance& pipe) { hub_.Add(pipe); },
                          .on_client = [this](const PipeInstance& pipe) { AddNotifyClient(pipe); },
                          .on_unused = [this](const PipeInstance& pipe) { hub_.Remove(pipe); }}) {}

  ~Impl() { Stop(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  std::optional<std::string> Start() {
    start_ = Clock::now();
    if (auto error = OpenPipes()) return error;
    control_ = std::thread(&Impl::Control, this);
    return std::nullopt;
  }

  void Stop() {
    stop_.Set();
    if (control_.joinable()) control_.join();
    CloseBothPipes();
  }

  void Publish(Bytes message) {
    const std::lock_guard lock(engine_mutex_);
    Broadcast(std::move(message));
  }

  void Post(Effect command) {
    const std::lock_guard lock(commands_mutex_);
    commands_.push_back(std::move(command));
    commanded_.Set();
  }

  [[nodiscard]] ServerCounts Counts() const {
    return {clients_, requests_, faults_, notifications_, lost_notifications_};
  }

 private:
  std::optional<std::string> OpenPipes() {
    // The notifications first: a client whose request was answered finds both.
    if (const DWORD error = notify_listener_.Open()) return WhyNotOpened(kNotifyPipe, error);
    if (const DWORD error = requests_listener_.Open()) {
      notify_listener_.Close();
      return WhyNotOpened(kRequestPipe, error);
    }
    return std::nullopt;
  }

  // Whoever is dropped finds nothing to connect to: both pipes stop listening first.
  void CloseBothPipes() {
    requests_listener_.Close();
    notify_listener_.Close();
    DropConnections();
  }

  void DropConnections() {
    request_connections_.Drop();
    notify_connections_.Drop();
  }

  /// The thread of what happens by itself: timed events, and what drops clients, which their own
  /// threads cannot do.
  void Control() {
    for (;;) {
      DWORD wait = INFINITE;
      {
        const std::lock_guard lock(engine_mutex_);
        const auto now = Elapsed<milliseconds>();
        std::vector<Effect> effects = engine_.TakeDue(now);
        wait = ToWait(engine_.NextDue(), now);
        Perform(effects);
      }
      for (const Effect& command : TakeCommands()) Execute(command);

      const std::array<HANDLE, 2> handles = {stop_.get(), commanded_.get()};
      const DWORD woken =
          WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, wait);
      if (woken == WAIT_OBJECT_0) return;
    }
  }

  std::vector<Effect> TakeCommands() {
    const std::lock_guard lock(commands_mutex_);
    commanded_.Reset();
    return std::exchange(commands_, {});
  }

  void Execute(const Effect& command) {
    if (std::holds_alternative<DropClients>(command)) {
      DropConnections();
    } else if (const auto* close = std::get_if<ClosePipes>(&command)) {
      CloseBothPipes();
      if (WaitForSingleObject(stop_.get(), close->milliseconds) != WAIT_OBJECT_0) ReopenPipes();
    }
  }

  void ReopenPipes() {
    std::optional<std::string> error;
    for (int i = 0; i < kReopenTries; ++i) {
      error = OpenPipes();
      if (!error || WaitForSingleObject(stop_.get(), kReopenPause) == WAIT_OBJECT_0) return;
    }
    if (observer_.on_failure) observer_.on_failure(*error);
  }

  /// Under the engine's lock, so that every client gets the messages in the same order. True when
  /// clients are going to be dropped.
  bool Perform(std::vector<Effect>& effects) {
    bool drops = false;
    for (Effect& effect : effects) {
      if (Bytes* message = std::get_if<Bytes>(&effect)) {
        Broadcast(std::move(*message));
      } else {
        Post(effect);
        drops = true;
      }
    }
    return drops;
  }

  void Broadcast(Bytes message) {
    lost_notifications_ += hub_.Broadcast(std::move(message), engine_.OnNotifyClient());
  }

  // A client for which there is no thread is dropped.
  void AddRequestClient(const PipeInstance& pipe) {
    const bool added = request_connections_.Add([this, pipe, client = ++clients_](HANDLE stop) {
      Trace(client, PipeKind::kRequest, TraceKind::kConnected);
      const bool abandon = ServeRequests(pipe->get(), stop, client);
      Trace(client, PipeKind::kRequest, TraceKind::kDisconnected);
      // Disconnecting discards what the client has not read yet.
      if (!abandon) DisconnectNamedPipe(pipe->get());
      pipe->reset();
    });
    if (!added) DisconnectNamedPipe(pipe->get());
  }

  /// True when the client is still to read what was sent to it.
  bool ServeRequests(HANDLE pipe, HANDLE stop, std::uint64_t client) {
    const std::size_t limit = engine_.scenario().limits.request_bytes;
    for (;;) {
      Bytes request;
      IoStatus status = IoStatus::kMore;
      if (DropsNextUnread()) {
        status = AwaitMessage(pipe, stop, request);
        if (status == IoStatus::kBroken || status == IoStatus::kStopped || TakeUnread()) {
          return false;
        }
      }
      std::uint64_t size = request.size();
      if (status == IoStatus::kMore) status = ReadMessage(pipe, stop, limit, request, size);
      if (status != IoStatus::kDone) return false;
      ++requests_;
      Trace(client, PipeKind::kRequest, TraceKind::kReceived, request, size);

      const auto [reaction, is_dropped] = React(request, size > limit);
      if (reaction.faulted) ++faults_;
      if (WaitForSingleObject(stop, reaction.delay_ms) == WAIT_OBJECT_0) return false;
      if (is_dropped) {
        WaitForSingleObject(stop, INFINITE);
        return false;
      }
      if (reaction.reply) {
        Trace(client, PipeKind::kRequest, TraceKind::kSent, *reaction.reply,
              reaction.reply->size());
        if (WriteMessage(pipe, stop, *reaction.reply) != IoStatus::kDone) return false;
      }
      if (reaction.rest) {
        if (WaitForSingleObject(stop, reaction.rest_delay_ms) == WAIT_OBJECT_0) return false;
        Trace(client, PipeKind::kRequest, TraceKind::kSent, *reaction.rest, reaction.rest->size());
        if (WriteMessage(pipe, stop, *reaction.rest) != IoStatus::kDone) return false;
      }
      if (reaction.drop) return reaction.reply.has_value();
    }
  }

  std::pair<Reaction, bool> React(std::span<const std::uint8_t> request, bool is_oversized) {
    const std::lock_guard lock(engine_mutex_);
    Reaction reaction = is_oversized ? engine_.OnOversizedRequest() : engine_.OnRequest(request);
    const bool drops = Perform(reaction.effects);
    return {std::move(reaction), drops};
  }

  bool DropsNextUnread() {
    const std::lock_guard lock(engine_mutex_);
    return engine_.DropsNextUnread();
  }

  bool TakeUnread() {
    const std::lock_guard lock(engine_mutex_);
    if (!engine_.DropsNextUnread()) return false;
    engine_.OnUnreadRequest();
    ++requests_;
    ++faults_;
    return true;
  }

  void AddNotifyClient(const PipeInstance& pipe) {
    std::shared_ptr<NotifyQueue> queue;
    {
      const std::lock_guard lock(engine_mutex_);
      queue = hub_.Greet(pipe, engine_.OnNotifyClient());
    }
    const bool added =
        notify_connections_.Add([this, pipe, queue, client = ++clients_](HANDLE stop) {
          Trace(client, PipeKind::kNotify, TraceKind::kConnected);
          ServeNotifications(pipe->get(), *queue, stop, client);
          Trace(client, PipeKind::kNotify, TraceKind::kDisconnected);
          DropNotifyClient(pipe);
        });
    if (!added) DropNotifyClient(pipe);
  }

  void DropNotifyClient(const PipeInstance& pipe) {
    hub_.Remove(pipe);
    DisconnectNamedPipe(pipe->get());
    pipe->reset();
  }

  void ServeNotifications(HANDLE pipe, NotifyQueue& queue, HANDLE stop, std::uint64_t client) {
    // A client has nothing to say here; the read is there to notice when it goes.
    std::array<std::uint8_t, 256> ignored = {};
    PipeOperation read(pipe);
    SharedBytes message;
    PipeOperation write(pipe);
    read.Read(ignored);
    for (;;) {
      if (message == nullptr) {
        message = queue.Pop();
        if (message != nullptr) {
          Trace(client, PipeKind::kNotify, TraceKind::kSent, *message, message->size());
          write.Write(*message);
        }
      }
      const std::array<HANDLE, 3> handles = {stop, read.event(),
                                             message != nullptr ? write.event() : queue.event()};
      const DWORD woken = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(),
                                                 FALSE, INFINITE);
      if (woken == WAIT_OBJECT_0) return;
      if (woken == WAIT_OBJECT_0 + 1) {
        if (read.Finish().status == IoStatus::kBroken) return;
        read.Read(ignored);
      } else if (message != nullptr) {
        if (write.Finish().status != IoStatus::kDone) return;
        ++notifications_;
        message.reset();
      }
    }
  }

  template <typename Duration>
  [[nodiscard]] Duration Elapsed() const {
    return std::chrono::duration_cast<Duration>(Clock::now() - start_);
  }

  void Trace(std::uint64_t client, PipeKind pipe, TraceKind kind,
             std::span<const std::uint8_t> bytes = {}, std::uint64_t size = 0) const {
    if (!observer_.on_trace) return;
    observer_.on_trace({.time = Elapsed<std::chrono::microseconds>(),
                        .client = client,
                        .pipe = pipe,
                        .kind = kind,
                        .bytes = bytes,
                        .size = size});
  }

  const ServerObserver observer_;
  Clock::time_point start_;
  std::atomic<std::uint64_t> clients_ = 0;
  std::atomic<std::uint64_t> requests_ = 0;
  std::atomic<std::uint64_t> faults_ = 0;
  std::atomic<std::uint64_t> notifications_ = 0;
  std::atomic<std::uint64_t> lost_notifications_ = 0;

  std::mutex engine_mutex_;
  Engine engine_;
  NotifyHub hub_;

  const windows::Event stop_;
  const windows::Event commanded_;
  std::mutex commands_mutex_;
  std::vector<Effect> commands_;

  Connections request_connections_;
  Connections notify_connections_;
  PipeListener requests_listener_;
  PipeListener notify_listener_;
  std::thread control_;
};

Server::Server(Scenario scenario, ServerObserver observer)
    : impl_(std::make_unique<Impl>(std::move(scenario), std::move(observer))) {}

Server::~Server() = default;

std::optional<std::string> Server::Start() { return impl_->Start(); }

void Server::Stop() { impl_->Stop(); }

void Server::Raise(const Notification& notification) {
  impl_->Publish(BuildNotification(notification));
}

void Server::SendRaw(Bytes message) { impl_->Publish(std::move(message)); }

void Server::DropAllClients() { impl_->Post(DropClients{}); }

void Server::ClosePipesFor(milliseconds time) {
  impl_->Post(ClosePipes{static_cast<std::uint32_t>(time.count())});
}

ServerCounts Server::Counts() const { return impl_->Counts(); }

}  // namespace zor::sim
