/// A client's end of a pipe, with nothing around the system calls.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <span>

#include "tests/integration/support/handle.h"

namespace zor::bench {

/// Makes the calls with the arguments that the library makes them with. Throws when one fails.
class RawPipe {
 public:
  static constexpr DWORD kLimit = 1024;

  explicit RawPipe(const wchar_t* name)
      : pipe_(testing::Require(
            CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
            "CreateFile")) {
    DWORD mode = PIPE_READMODE_MESSAGE;
    SetNamedPipeHandleState(pipe_.get(), &mode, nullptr, nullptr);
  }

  void Peek() {
    Check(PeekNamedPipe(pipe_.get(), nullptr, 0, nullptr, nullptr, nullptr), "PeekNamedPipe");
  }

  [[nodiscard]] DWORD Available() {
    DWORD total = 0;
    Check(PeekNamedPipe(pipe_.get(), nullptr, 0, nullptr, &total, nullptr), "PeekNamedPipe");
    return total;
  }

  void Write(std::span<const std::uint8_t> message) {
    DWORD written = 0;
    Check(WriteFile(pipe_.get(), message.data(), static_cast<DWORD>(message.size()), &written,
                    nullptr),
          "WriteFile");
  }

  /// What was read, until the next one.
  std::span<const std::uint8_t> Read(DWORD limit = kLimit) {
    DWORD count = 0;
    Check(ReadFile(pipe_.get(), buffer_.data(), limit, &count, nullptr), "ReadFile");
    return std::span(buffer_).first(count);
  }

  void Transact(std::span<std::uint8_t> message) {
    DWORD count = 0;
    Check(TransactNamedPipe(pipe_.get(), message.data(), static_cast<DWORD>(message.size()),
                            buffer_.data(), kLimit, &count, nullptr),
          "TransactNamedPipe");
  }

 private:
  static void Check(BOOL ok, const char* what) {
    if (ok == FALSE) testing::ThrowLastError(what);
  }

  testing::UniqueHandle pipe_;
  alignas(8) std::array<std::uint8_t, kLimit> buffer_{};
};

}  // namespace zor::bench
