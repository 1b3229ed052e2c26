/// A pipe that costs nothing: platform/pipe.h over one canned reply.
#pragma once

#include <cstdint>
#include <span>

namespace zor::bench {

/// What every read brings from now on. It must outlive its use.
void SetReply(std::span<const std::uint8_t> reply) noexcept;

}  // namespace zor::bench
