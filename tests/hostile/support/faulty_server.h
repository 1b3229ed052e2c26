/// A server that ends in the middle of an exchange.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "tests/integration/support/server_end.h"

namespace zor::hostile {

/// How far a server comes in an exchange.
enum class Point : std::uint8_t {
  kConnected,    ///< the client is there; its request has not been read
  kReadRequest,  ///< the client waits for the reply
  kSentPart,     ///< the first half of the reply
  kSentReply,    ///< the client may not have read it yet
};

inline constexpr std::array kPoints{Point::kConnected, Point::kReadRequest, Point::kSentPart,
                                    Point::kSentReply};

/// Serves a connected client up to `point`. False when the client is gone.
[[nodiscard]] inline bool ExchangeUpTo(testing::ServerEnd& end, Point point,
                                       std::span<const std::uint8_t> reply) {
  if (point == Point::kConnected) return true;
  if (!end.Read()) return false;
  if (point == Point::kReadRequest) return true;
  return end.Write(point == Point::kSentPart ? reply.first(reply.size() / 2) : reply);
}

}  // namespace zor::hostile
