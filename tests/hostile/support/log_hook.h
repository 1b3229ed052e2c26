/// Doing something in the middle of what the library does: on its own thread, as it writes a line
/// to its log.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace zor::hostile {

/// The client has just opened a pipe and has not used it yet.
inline constexpr const char* kOpened = "[zor] ConnectToServer() was successful.\n";
/// The listener has, and is about to look what is in it.
inline constexpr const char* kListening = "[zor] Connection was successful.\n";

/// While it lives, runs `then` inside of each call that writes `line`, on the thread that does. One
/// object at a time; it must outlive every thread of the library that writes.
class LogHook {
 public:
  LogHook(std::string line, std::function<void()> then);
  LogHook(const LogHook&) = delete;
  LogHook& operator=(const LogHook&) = delete;
  ~LogHook();

 private:
  void* handler_;
};

}  // namespace zor::hostile
