/// Both ends of a message pipe in one process, of a name that nobody else uses.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>

#include "tools/selftest/handle.h"

namespace zor::selftest {

/// What one operation on a pipe came to.
struct Transfer {
  bool ok = false;
  DWORD count = 0;
  DWORD error = 0;  ///< meaningful when not `ok`
};

[[nodiscard]] Transfer Read(HANDLE pipe, std::size_t room);
[[nodiscard]] Transfer Write(HANDLE pipe, std::size_t size);

struct Waiting {
  bool ok = false;
  DWORD total = 0;
  DWORD in_message = 0;
  DWORD error = 0;
};

[[nodiscard]] Waiting Peek(HANDLE pipe);

/// "10", "error 109", or "error 234 with 1024": the count where there is one.
[[nodiscard]] std::string Told(const Transfer& transfer);
/// "ok", or "error 109".
[[nodiscard]] std::string Told(bool ok, DWORD error);
/// "10" for the total, or "error 109".
[[nodiscard]] std::string Told(const Waiting& waiting);

/// A name for a pipe of this process, another one each time.
[[nodiscard]] std::wstring NewPipeName();

/// A server's instance in message mode with large buffers, so that writing to it does not wait.
[[nodiscard]] UniqueHandle MakeInstance(const std::wstring& name, DWORD instances = 4,
                                        SECURITY_ATTRIBUTES* security = nullptr);

/// The client's end as the library opens it.
[[nodiscard]] HANDLE OpenAsTheLibraryDoes(const std::wstring& name) noexcept;

struct PipePair {
  std::wstring name = NewPipeName();
  UniqueHandle server = MakeInstance(name);
  UniqueHandle client = Require(OpenAsTheLibraryDoes(name), "opening the pipe");

  /// The client reads messages, as the library does, unless it stays as the system has made it.
  explicit PipePair(bool message_mode = true);
};

void SetMessageMode(HANDLE client);

}  // namespace zor::selftest
