/// The scripted named pipes: platform/pipe.h over servers in memory.
///
/// A test that uses them fails when the product uses a handle that is not open, closes one twice or
/// while another thread uses it, or reads where the system would wait for a message.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/pipe.h"
#include "tests/kit/messages.h"

namespace zor::scripted {

using testing::Bytes;

/// What the system answers, by number.
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorBrokenPipe = 109;
inline constexpr std::uint32_t kErrorPipeBusy = 231;
inline constexpr std::uint32_t kErrorNoData = 232;
inline constexpr std::uint32_t kErrorPipeNotConnected = 233;

class Pipes {
 public:
  /// A server's answer to one message: the messages that it sends back.
  using Responder = std::function<std::vector<Bytes>(const Bytes& message)>;

  /// Forgets all pipes, handles and messages.
  void Reset();

  // The servers, by the pipe's name. A pipe that no test has mentioned is absent.

  /// Takes any number of clients, and answers each message with what `responder` returns.
  void Listen(std::wstring_view name, Responder responder = {});
  /// Is there, but takes no client.
  void Busy(std::wstring_view name);
  /// Takes no more clients: the pipe is absent. Those that are connected stay so.
  void Remove(std::wstring_view name);
  /// Sends to every connected client.
  void Send(std::wstring_view name, Bytes message);
  /// Closes the server's ends of all connections: what was sent can still be read.
  void CloseConnections(std::wstring_view name);
  /// Breaks all connections: what was sent and not read is lost.
  void BreakConnections(std::wstring_view name);
  /// What clients wrote since the last time.
  [[nodiscard]] std::vector<Bytes> TakeWritten(std::wstring_view name);
  /// How many clients have connected since the Reset().
  [[nodiscard]] int Connections(std::wstring_view name) const;
  /// How many messages wait in the pipe's connections, but for those that were left behind.
  [[nodiscard]] std::size_t Waiting(std::wstring_view name) const;

  /// The count that the next peek for it shows, whatever waits.
  void ShowAvailable(std::uint32_t count);

  /// Whether somebody else opens something whenever the product closes a handle, and gets its
  /// number; the product has no business with that number from then on. Without it the product's
  /// own next open gets the lowest free number.
  void LetOthersTakeNumbers(bool take);

  /// Whether what lies behind a message in the buffer that it is read into is out of bounds for the
  /// product (with AddressSanitizer, and its detect_stack_use_after_return).
  void PoisonUnread(bool poison);

  /// Handles that are open and answered the last time they were asked.
  [[nodiscard]] int OpenCount() const;
  /// Handles that are open although their connection did not answer: left behind by a reconnect.
  [[nodiscard]] int AbandonedCount() const;

  // The functions of platform/pipe.h.

  [[nodiscard]] platform::OpenResult Open(std::wstring_view name);
  void SetMessageReadMode(platform::PipeHandle handle);
  [[nodiscard]] bool Peek(platform::PipeHandle handle);
  [[nodiscard]] bool Peek(platform::PipeHandle handle, std::uint32_t& available);
  [[nodiscard]] bool Write(platform::PipeHandle handle, std::span<const std::uint8_t> message);
  [[nodiscard]] platform::ReadResult Read(platform::PipeHandle handle,
                                          std::span<std::uint8_t> buffer);
  void Disconnect(platform::PipeHandle handle);
  void Close(platform::PipeHandle handle);

 private:
  enum class Presence : std::uint8_t { kAbsent, kBusy, kListening };
  enum class ServerEnd : std::uint8_t { kOpen, kClosed, kBroken };
  class Use;

  /// Handles look as the system's do: small multiples of four.
  static constexpr int kHandleStep = 4;

  struct Connection {
    std::wstring pipe;
    ServerEnd server_end = ServerEnd::kOpen;
    std::deque<Bytes> waiting;
    bool message_mode = false;
    bool answered = true;  ///< the last time it was asked
    bool closing = false;
    std::multiset<std::thread::id> users;  ///< the threads that are inside a call on it
  };

  struct Pipe {
    Presence presence = Presence::kAbsent;
    Responder responder;
    std::vector<Bytes> written;
    int connected = 0;
    std::vector<std::shared_ptr<Connection>> connections;  ///< whose server's end is open
  };

  using Lock = std::unique_lock<std::mutex>;
  void EndConnections(std::wstring_view name, ServerEnd end);
  [[nodiscard]] int CountHandles(bool answered) const;

  mutable std::mutex mutex_;
  std::map<std::wstring, Pipe, std::less<>> pipes_;
  std::map<int, std::shared_ptr<Connection>> handles_;  ///< null: somebody else's
  int lowest_free_ = kHandleStep;
  std::optional<std::uint32_t> shown_available_;
  bool others_take_numbers_ = false;
  bool poison_unread_ = false;
};

[[nodiscard]] Pipes& ThePipes();

}  // namespace zor::scripted
