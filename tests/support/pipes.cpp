#include "tests/support/pipes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "tests/support/calls.h"

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#endif

namespace zor::scripted {
namespace {

using platform::kErrorMoreData;
using platform::OpenResult;
using platform::PipeHandle;
using platform::ReadResult;

std::string Narrow(std::wstring_view text) {
  std::string narrow;
  for (const wchar_t c : text) narrow += c < 128 ? static_cast<char>(c) : '?';
  return narrow;
}

std::string Outcome(const std::optional<std::uint32_t>& error) {
  return error ? "error " + std::to_string(*error) : "ok";
}

#if __has_include(<sanitizer/asan_interface.h>)
void Poison(std::span<std::uint8_t> bytes) {
  ASAN_POISON_MEMORY_REGION(bytes.data(), bytes.size());
}
void Unpoison(std::span<std::uint8_t> bytes) {
  ASAN_UNPOISON_MEMORY_REGION(bytes.data(), bytes.size());
}
#else
void Poison(std::span<std::uint8_t> /*bytes*/) {}
void Unpoison(std::span<std::uint8_t> /*bytes*/) {}
#endif

}  // namespace

Pipes& ThePipes() {
  static Pipes pipes;
  return pipes;
}

void Pipes::Reset() {
  const Lock lock(mutex_);
  pipes_.clear();
  handles_.clear();
  lowest_free_ = kHandleStep;
  shown_available_.reset();
  others_take_numbers_ = false;
  poison_unread_ = false;
}

void Pipes::Listen(std::wstring_view name, Responder responder) {
  const Lock lock(mutex_);
  Pipe& pipe = pipes_[std::wstring(name)];
  pipe.presence = Presence::kListening;
  pipe.responder = std::move(responder);
}

void Pipes::Busy(std::wstring_view name) {
  const Lock lock(mutex_);
  pipes_[std::wstring(name)].presence = Presence::kBusy;
}

void Pipes::Remove(std::wstring_view name) {
  const Lock lock(mutex_);
  pipes_[std::wstring(name)].presence = Presence::kAbsent;
}

void Pipes::Send(std::wstring_view name, Bytes message) {
  const Lock lock(mutex_);
  for (const auto& connection : pipes_[std::wstring(name)].connections) {
    connection->waiting.push_back(message);
  }
}

void Pipes::EndConnections(std::wstring_view name, ServerEnd end) {
  const Lock lock(mutex_);
  for (const auto& connection : std::exchange(pipes_[std::wstring(name)].connections, {})) {
    connection->server_end = end;
    if (end == ServerEnd::kBroken) connection->waiting.clear();
  }
}

void Pipes::CloseConnections(std::wstring_view name) { EndConnections(name, ServerEnd::kClosed); }

void Pipes::BreakConnections(std::wstring_view name) { EndConnections(name, ServerEnd::kBroken); }

std::vector<Bytes> Pipes::TakeWritten(std::wstring_view name) {
  const Lock lock(mutex_);
  return std::exchange(pipes_[std::wstring(name)].written, {});
}

int Pipes::Connections(std::wstring_view name) const {
  const Lock lock(mutex_);
  const auto pipe = pipes_.find(name);
  return pipe == pipes_.end() ? 0 : pipe->second.connected;
}

std::size_t Pipes::Waiting(std::wstring_view name) const {
  const Lock lock(mutex_);
  std::size_t count = 0;
  for (const auto& [number, connection] : handles_) {
    if (connection == nullptr || connection->pipe != name || !connection->answered) continue;
    count += connection->waiting.size();
  }
  return count;
}

void Pipes::ShowAvailable(std::uint32_t count) {
  const Lock lock(mutex_);
  shown_available_ = count;
}

void Pipes::LetOthersTakeNumbers(bool take) {
  const Lock lock(mutex_);
  others_take_numbers_ = take;
}

void Pipes::PoisonUnread(bool poison) {
  const Lock lock(mutex_);
  poison_unread_ = poison;
}

int Pipes::CountHandles(bool answered) const {
  const Lock lock(mutex_);
  return static_cast<int>(std::count_if(handles_.begin(), handles_.end(), [&](const auto& entry) {
    return entry.second != nullptr && entry.second->answered == answered;
  }));
}

int Pipes::OpenCount() const { return CountHandles(true); }

int Pipes::AbandonedCount() const { return CountHandles(false); }

/// One thread's call on one handle, from its entry until it returns; holds the pipes' lock once it
/// is made. The test's hook runs before that, so that a test can hold a call on its way.
class Pipes::Use {
 public:
  Use(Pipes& pipes, PipeHandle handle, Function function)
      : pipes_(pipes), number_(static_cast<int>(handle)), lock_(pipes.mutex_) {
    connection_ = Find(function == Function::kClosePipe);
    if (connection_ != nullptr) connection_->users.insert(std::this_thread::get_id());
    lock_.unlock();
    error_ = TheCalls().Enter(function);
    lock_.lock();
    if (connection_ == nullptr) error_ = kErrorInvalidHandle;
  }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;
  ~Use() {
    if (connection_ == nullptr) return;
    auto& users = connection_->users;
    users.erase(users.find(std::this_thread::get_id()));
  }

  [[nodiscard]] int number() const { return number_; }

  /// Null when the handle is not an open pipe of the product's.
  [[nodiscard]] Connection* connection() const { return connection_.get(); }

  /// Why the call fails, whatever it does.
  [[nodiscard]] std::optional<std::uint32_t> error() const { return error_; }

  /// Why a peek or a read fails: only once nothing is left to read.
  [[nodiscard]] std::optional<std::uint32_t> ReadError() const {
    if (error_) return error_;
    if (connection_->server_end == ServerEnd::kBroken) return kErrorPipeNotConnected;
    if (connection_->server_end == ServerEnd::kClosed && connection_->waiting.empty()) {
      return kErrorBrokenPipe;
    }
    return std::nullopt;
  }

  [[nodiscard]] std::optional<std::uint32_t> WriteError() const {
    if (error_) return error_;
    if (connection_->server_end == ServerEnd::kBroken) return kErrorPipeNotConnected;
    if (connection_->server_end == ServerEnd::kClosed) return kErrorNoData;
    return std::nullopt;
  }

  /// Lets the server have a message, and answer it; its answer may itself use the pipes.
  void Deliver(Bytes message) {
    Pipe& pipe = pipes_.pipes_[connection_->pipe];
    pipe.written.push_back(message);
    const Responder responder = pipe.responder;
    if (!responder) return;
    lock_.unlock();
    std::vector<Bytes> replies = responder(message);
    lock_.lock();
    for (Bytes& reply : replies) connection_->waiting.push_back(std::move(reply));
  }

 private:
  [[nodiscard]] std::shared_ptr<Connection> Find(bool closes) const {
    const auto found = pipes_.handles_.find(number_);
    if (found == pipes_.handles_.end()) {
      ADD_FAILURE() << "handle #" << number_ << " is used but not open";
      return nullptr;
    }
    const auto& connection = found->second;
    if (connection == nullptr) {
      ADD_FAILURE() << "handle #" << number_ << " is used but is somebody else's by now";
      return nullptr;
    }
    if (connection->closing) {
      ADD_FAILURE() << "handle #" << number_ << " is used while it is being closed";
      return nullptr;
    }
    if (closes && connection->users.size() != connection->users.count(std::this_thread::get_id())) {
      ADD_FAILURE() << "handle #" << number_ << " is closed while another thread uses it";
    }
    connection->closing = closes;
    return connection;
  }

  Pipes& pipes_;
  int number_;
  std::shared_ptr<Connection> connection_;
  std::optional<std::uint32_t> error_;
  Lock lock_;
};

OpenResult Pipes::Open(std::wstring_view name) {
  std::optional<std::uint32_t> error = TheCalls().Enter(Function::kOpenPipe);
  const Lock lock(mutex_);
  const auto pipe = pipes_.find(name);
  const Presence presence = pipe == pipes_.end() ? Presence::kAbsent : pipe->second.presence;
  if (!error && presence == Presence::kAbsent) error = kErrorFileNotFound;
  if (!error && presence == Presence::kBusy) error = kErrorPipeBusy;
  if (error) {
    TheCalls().Record(Function::kOpenPipe, "OpenPipe ", Narrow(name), " -> error ", *error);
    return {.handle = PipeHandle::kInvalid, .error = *error};
  }

  const int number = lowest_free_;
  auto connection = std::make_shared<Connection>();
  connection->pipe = name;
  pipe->second.connections.push_back(connection);
  ++pipe->second.connected;
  handles_.emplace(number, std::move(connection));
  while (handles_.count(lowest_free_) != 0) lowest_free_ += kHandleStep;
  TheCalls().Record(Function::kOpenPipe, "OpenPipe ", Narrow(name), " -> #", number);
  return {.handle = static_cast<PipeHandle>(number)};
}

void Pipes::SetMessageReadMode(PipeHandle handle) {
  const Use use(*this, handle, Function::kSetMessageReadMode);
  const auto error = use.error();
  TheCalls().Record(Function::kSetMessageReadMode, "SetMessageReadMode #", use.number(), " -> ",
                    Outcome(error));
  if (!error) use.connection()->message_mode = true;
}

bool Pipes::Peek(PipeHandle handle) {
  const Use use(*this, handle, Function::kPeekPipe);
  const auto error = use.ReadError();
  TheCalls().Record(Function::kPeekPipe, "PeekPipe #", use.number(), " -> ", Outcome(error));
  if (use.connection() != nullptr) use.connection()->answered = !error;
  return !error;
}

bool Pipes::Peek(PipeHandle handle, std::uint32_t& available) {
  const Use use(*this, handle, Function::kPeekAvailable);
  if (const auto error = use.ReadError()) {
    // The count stays as it was.
    TheCalls().Record(Function::kPeekAvailable, "PeekAvailable #", use.number(), " -> error ",
                      *error);
    return false;
  }
  std::size_t sum = 0;
  for (const Bytes& message : use.connection()->waiting) sum += message.size();
  available =
      std::exchange(shown_available_, std::nullopt).value_or(static_cast<std::uint32_t>(sum));
  TheCalls().Record(Function::kPeekAvailable, "PeekAvailable #", use.number(), " -> ", available);
  return true;
}

bool Pipes::Write(PipeHandle handle, std::span<const std::uint8_t> message) {
  Use use(*this, handle, Function::kWritePipe);
  const auto error = use.WriteError();
  TheCalls().Record(Function::kWritePipe, "WritePipe #", use.number(), " ", message.size(), " -> ",
                    Outcome(error));
  if (error) return false;
  use.Deliver(Bytes(message.begin(), message.end()));
  return true;
}

ReadResult Pipes::Read(PipeHandle handle, std::span<std::uint8_t> buffer) {
  const Use use(*this, handle, Function::kReadPipe);
  ReadResult result;
  if (poison_unread_) Unpoison(buffer);
  if (const auto error = use.ReadError()) {
    result.error = *error;
  } else if (use.connection()->waiting.empty()) {
    ADD_FAILURE() << "handle #" << use.number() << " is read where nothing waits";
    result.error = kErrorBrokenPipe;
  } else {
    auto& waiting = use.connection()->waiting;
    result.ok = true;
    // A pipe in byte mode knows no messages: it goes on to the next.
    do {
      Bytes& message = waiting.front();
      const auto room = buffer.size() - result.count;
      const auto part = static_cast<std::ptrdiff_t>(std::min(message.size(), room));
      std::copy_n(message.begin(), part, buffer.begin() + result.count);
      result.count += static_cast<std::uint32_t>(part);
      message.erase(message.begin(), message.begin() + part);
      if (!message.empty()) {
        if (use.connection()->message_mode) result = {false, result.count, kErrorMoreData};
        break;
      }
      waiting.pop_front();
    } while (!use.connection()->message_mode && !waiting.empty() && result.count < buffer.size());
  }
  if (poison_unread_) Poison(buffer.subspan(result.count));
  if (result.ok) {
    TheCalls().Record(Function::kReadPipe, "ReadPipe #", use.number(), " ", buffer.size(), " -> ",
                      result.count);
  } else {
    TheCalls().Record(Function::kReadPipe, "ReadPipe #", use.number(), " ", buffer.size(),
                      " -> error ", result.error);
  }
  return result;
}

void Pipes::Disconnect(PipeHandle handle) {
  // Does nothing on a client's end.
  const Use use(*this, handle, Function::kDisconnectPipe);
  TheCalls().Record(Function::kDisconnectPipe, "DisconnectPipe #", use.number());
}

void Pipes::Close(PipeHandle handle) {
  const Use use(*this, handle, Function::kClosePipe);
  TheCalls().Record(Function::kClosePipe, "ClosePipe #", use.number());
  if (use.connection() == nullptr) return;
  auto& connections = pipes_[use.connection()->pipe].connections;
  connections.erase(std::remove_if(connections.begin(), connections.end(),
                                   [&](const auto& one) { return one.get() == use.connection(); }),
                    connections.end());
  if (others_take_numbers_) {
    handles_[use.number()] = nullptr;
  } else {
    handles_.erase(use.number());
    lowest_free_ = std::min(lowest_free_, use.number());
  }
}

}  // namespace zor::scripted

namespace zor::platform {

using scripted::PlatformScope;
using scripted::ThePipes;

OpenResult OpenPipe(const wchar_t* name) noexcept {
  const PlatformScope scope;
  return ThePipes().Open(name);
}

void SetMessageReadMode(PipeHandle pipe) noexcept {
  const PlatformScope scope;
  ThePipes().SetMessageReadMode(pipe);
}

bool PeekPipe(PipeHandle pipe) noexcept {
  const PlatformScope scope;
  return ThePipes().Peek(pipe);
}

bool PeekPipe(PipeHandle pipe, std::uint32_t& available) noexcept {
  const PlatformScope scope;
  return ThePipes().Peek(pipe, available);
}

bool WritePipe(PipeHandle pipe, std::span<const std::uint8_t> message) noexcept {
  const PlatformScope scope;
  return ThePipes().Write(pipe, message);
}

ReadResult ReadPipe(PipeHandle pipe, std::span<std::uint8_t> buffer) noexcept {
  const PlatformScope scope;
  return ThePipes().Read(pipe, buffer);
}

void DisconnectPipe(PipeHandle pipe) noexcept {
  const PlatformScope scope;
  ThePipes().Disconnect(pipe);
}

void ClosePipe(PipeHandle pipe) noexcept {
  const PlatformScope scope;
  ThePipes().Close(pipe);
}

}  // namespace zor::platform
