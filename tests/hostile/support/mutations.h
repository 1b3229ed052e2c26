/// Making bad messages out of good ones.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>

#include "tests/integration/support/server_end.h"

namespace zor::hostile {

using testing::Bytes;

using Random = std::mt19937;

/// The seed of the random messages, which it prints: the environment's ZOR_SEED, else one of its
/// own in the whole campaign and always the same one in the short form.
[[nodiscard]] std::uint32_t Seed();

/// Anything, up to `limit` bytes long.
[[nodiscard]] Bytes Garbage(Random& random, std::size_t limit);

/// The message with one to eight bytes changed, and sometimes its end.
[[nodiscard]] Bytes Damaged(Random& random, Bytes message);

/// Visits the message with each of its bytes changed: to each other value in the whole campaign,
/// else to a few that numbers break at.
template <typename Visit>
void ForEachChangedByte(const Bytes& message, bool every_value, const Visit& visit) {
  for (std::size_t position = 0; position < message.size(); ++position) {
    const std::uint8_t original = message[position];
    Bytes changed = message;
    const auto try_value = [&](int value) {
      changed[position] = static_cast<std::uint8_t>(value);
      if (changed[position] != original) visit(changed);
    };
    if (every_value) {
      for (int value = 0; value <= 0xFF; ++value) try_value(value);
    } else {
      for (const int value : {0x00, 0xFF, original ^ 0x80, original + 1, original - 4}) {
        try_value(value);
      }
    }
  }
}

/// Visits the message at each length from 0 to `limit`: cut, or followed by `filler`.
template <typename Visit>
void ForEachLength(const Bytes& message, std::size_t limit, std::uint8_t filler,
                   const Visit& visit) {
  Bytes resized = message;
  for (std::size_t size = 0; size <= limit; ++size) {
    resized.assign(message.begin(),
                   message.begin() + static_cast<std::ptrdiff_t>(std::min(size, message.size())));
    resized.resize(size, filler);
    visit(resized);
  }
}

}  // namespace zor::hostile
