/// The requests whose bytes are pinned: one for each call, and the edge cases.
#pragma once

#include <span>
#include <string>

#include "tests/support/pipes.h"

namespace zor::golden {

struct GoldenRequest {
  const char* name;  ///< of its files
  void (*call)();
};

[[nodiscard]] std::span<const GoldenRequest> GoldenRequests();

/// The bytes that the call sends.
[[nodiscard]] testing::Bytes Capture(const GoldenRequest& request);

/// Sixteen bytes a line.
[[nodiscard]] std::string ToHex(const testing::Bytes& bytes);

}  // namespace zor::golden
