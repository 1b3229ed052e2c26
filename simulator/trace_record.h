/// What the server saw or did, as it is reported to whoever listens.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>

namespace zor::sim {

enum class PipeKind : std::uint8_t { kRequest, kNotify };

enum class TraceKind : std::uint8_t { kConnected, kReceived, kSent, kDisconnected };

struct TraceRecord {
  std::chrono::microseconds time = {};  ///< since the server was started
  std::uint64_t client = 0;             ///< counts connections, from 1
  PipeKind pipe = PipeKind::kRequest;
  TraceKind kind = TraceKind::kConnected;
  /// Of a message, valid during the call only; aligned to 8.
  std::span<const std::uint8_t> bytes = {};
  /// Of a message of which only the beginning was kept; else the same as the bytes' number.
  std::uint64_t size = 0;
};

}  // namespace zor::sim
