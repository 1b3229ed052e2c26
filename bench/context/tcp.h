/// The same exchange over loopback TCP, each message behind its length: for comparison.
#pragma once

#include <winsock2.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <type_traits>

namespace zor::bench {

inline constexpr std::uint16_t kTcpPort = 47'391;

struct Winsock {
  Winsock() {
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) throw std::runtime_error("WSAStartup");
  }
  Winsock(const Winsock&) = delete;
  Winsock& operator=(const Winsock&) = delete;
  ~Winsock() { WSACleanup(); }
};

class Socket {
 public:
  explicit Socket(SOCKET socket) : socket_(socket) {
    if (socket == INVALID_SOCKET) throw std::runtime_error("no socket");
  }
  Socket() : Socket(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {}
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() { closesocket(socket_); }

  [[nodiscard]] SOCKET get() const noexcept { return socket_; }

  /// Messages are small, and each is waited for.
  void DoNotDelay() {
    const BOOL on = TRUE;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof(on));
  }

  void Send(std::span<const std::uint8_t> message) {
    const auto size = static_cast<std::uint32_t>(message.size());
    std::memcpy(buffer_.data(), &size, sizeof(size));
    std::memcpy(buffer_.data() + sizeof(size), message.data(), size);
    const int whole = static_cast<int>(sizeof(size) + size);
    if (send(socket_, buffer_.data(), whole, 0) != whole) throw std::runtime_error("send");
  }

  /// False when the other end has gone.
  [[nodiscard]] bool Receive() {
    std::uint32_t size = 0;
    int got = 0;
    while (got < static_cast<int>(sizeof(size)) || got < static_cast<int>(sizeof(size) + size)) {
      const int more =
          recv(socket_, buffer_.data() + got, static_cast<int>(buffer_.size()) - got, 0);
      if (more <= 0) return false;
      got += more;
      if (got >= static_cast<int>(sizeof(size))) std::memcpy(&size, buffer_.data(), sizeof(size));
    }
    return true;
  }

 private:
  SOCKET socket_;
  std::array<char, 2048> buffer_{};
};

[[nodiscard]] inline sockaddr_in Loopback() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kTcpPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

}  // namespace zor::bench
