/**
 * @file zor_session_types.hpp
 * @brief The errors, events and options of a zor::Session. Header-only, C++17.
 *
 * Applications include zor_session.hpp.
 */
#ifndef ZOR_SESSION_TYPES_HPP
#define ZOR_SESSION_TYPES_HPP

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <type_traits>

#include "zor.hpp"

namespace zor {

/// Why a session has not made a call, or has no result of it. The library's own results are
/// zor::Result.
enum class SessionError {
  kTimedOut = 1,       ///< The deadline passed. The server may have taken the request all the same.
  kNotSent,            ///< The deadline passed while earlier calls were made; nothing was sent.
  kInstanceLost,       ///< The instance's server has ended. Nothing was sent.
  kNoInstance,         ///< There is no instance: moved from, abandoned or destroyed.
  kAlgorithmsChanged,  ///< The ids of the algorithms are others now: call Session::Enumerate().
  kLibraryHeld,        ///< The library had to be loaded anew, but somebody else in the process
                       ///< holds it. The session makes no further call.
  kLibraryNotLoaded,   ///< The library cannot be loaded; the text of the exception says why.
  kSecondSession,      ///< The program or DLL has a session already.
  kClosed              ///< The session has been destroyed.
};

/// @cond INTERNAL
namespace detail {

class SessionCategory final : public std::error_category {
 public:
  [[nodiscard]] const char* name() const noexcept override { return "zor session"; }

  [[nodiscard]] std::string message(int code) const override {
    switch (static_cast<SessionError>(code)) {
      case SessionError::kTimedOut:
        return "the server did not answer before the deadline";
      case SessionError::kNotSent:
        return "the deadline passed before the call's turn came";
      case SessionError::kInstanceLost:
        return "the server that had the instance has ended";
      case SessionError::kNoInstance:
        return "there is no instance";
      case SessionError::kAlgorithmsChanged:
        return "the ids of the algorithms have changed";
      case SessionError::kLibraryHeld:
        return "another part of the process holds the library, so that it cannot be loaded anew";
      case SessionError::kLibraryNotLoaded:
        return "the library cannot be loaded";
      case SessionError::kSecondSession:
        return "there is a session already";
      case SessionError::kClosed:
        return "the session has ended";
    }
    return "unknown";
  }

  [[nodiscard]] std::error_condition default_error_condition(int code) const noexcept override {
    switch (static_cast<SessionError>(code)) {
      case SessionError::kTimedOut:
      case SessionError::kNotSent:
        return std::errc::timed_out;
      case SessionError::kNoInstance:
        return std::errc::invalid_argument;
      case SessionError::kLibraryHeld:
      case SessionError::kSecondSession:
        return std::errc::device_or_resource_busy;
      case SessionError::kClosed:
        return std::errc::operation_canceled;
      case SessionError::kInstanceLost:
      case SessionError::kAlgorithmsChanged:
      case SessionError::kLibraryNotLoaded:
        break;
    }
    return {code, *this};
  }
};

}  // namespace detail
/// @endcond

/// The category of a session's own error codes; its name is "zor session".
[[nodiscard]] inline const std::error_category& SessionErrorCategory() noexcept {
  static const detail::SessionCategory category;
  return category;
}

/// What makes a SessionError an `std::error_code`; found by the standard library under this name.
[[nodiscard]] inline std::error_code make_error_code(SessionError error) noexcept {
  return {static_cast<int>(error), SessionErrorCategory()};
}

/// What has happened.
enum class SessionEventKind {
  kNotification,       ///< The server sent one: see SessionEvent::type and what follows it.
  kServerFound,        ///< The server is there, for the first time in this session.
  kServerGone,         ///< The server has ended, or has closed its pipes.
  kServerBack,         ///< It is there again, as the same process. Its instances are still yours.
  kServerReplaced,     ///< There is a server again, and it is another process or may be one: your
                       ///< instances are lost.
  kReloaded,           ///< The library has been loaded anew, since a deadline had passed or a reply
                       ///< was not valid. What the server notified meanwhile is lost.
  kAlgorithmsChanged,  ///< After a reload the list of algorithms was another one than before.
  kLibraryHeld         ///< SessionError::kLibraryHeld: from now on every call fails.
};

/// One event of a session. Owns what it says.
struct SessionEvent {
  SessionEventKind kind = SessionEventKind::kNotification;  ///< What has happened.
  std::uint32_t process = 0;  ///< Of the server's events: its process's number; 0 when unknown.

  std::uint32_t type = 0;              ///< Of a notification: as Event::type.
  std::optional<bool> flag;            ///< As Event::flag.
  std::optional<std::uint32_t> value;  ///< As Event::value.
  std::optional<std::string> text;     ///< As Event::text.
};

/// Where a session's events are delivered.
enum class Delivery {
  kWorker,  ///< On the session's worker, between two calls. A callback that takes long holds up the
            ///< calls.
  kPoll,    ///< On the thread that calls Session::Poll().
  kDirect   ///< Notifications on the library's own thread, under the rules of ::ZorEventCallback;
            ///< all else on the worker, perhaps at the same time. No event is queued.
};

/// How a session works. What is left out is as it stands here.
struct SessionOptions {
  /// The full path of the library; empty: `ZorInterface.dll` beside the program.
  std::wstring library = {};
  /// How long a call may take that has no limit of its own, from its being asked for on.
  std::chrono::milliseconds limit = std::chrono::seconds(5);
  /// How often the session looks for the server while it makes no calls.
  std::chrono::milliseconds look_interval = std::chrono::seconds(1);
  /// Whether to keep one connection to the request pipe open, to see at once that the server has
  /// ended. Without it the session goes by the name of the pipe, and does not notice a restart
  /// between two looks.
  bool watch_server = true;

  /// Receives the events. It must not throw, and must not destroy the session.
  std::function<void(const SessionEvent&)> on_event = {};
  /// Where.
  Delivery delivery = Delivery::kWorker;
  /// For Delivery::kPoll: called on the worker when there are events to poll. It should wake the
  /// thread that polls, and return.
  std::function<void()> wake = {};
  /// How many events wait at most. When one more comes, the oldest is dropped.
  std::size_t event_capacity = 1024;
};

}  // namespace zor

/// Lets a zor::SessionError stand where an `std::error_code` is expected.
template <>
struct std::is_error_code_enum<zor::SessionError> : std::true_type {};

#endif
