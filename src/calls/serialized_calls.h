/// Whole parameter blocks.
#pragma once

#include <cstdint>

#include "interface/zor_interface.h"
#include "transport/pipe_channel.h"

namespace zor {

[[nodiscard]] ZorResult SetSerialized(PipeChannel& request, std::uint32_t handle,
                                      const ZorBlob& blob);

/// On success `output` owns two blocks of the runtime's heap; see ZorIntfGetSerialized().
[[nodiscard]] ZorResult GetSerialized(PipeChannel& request, std::uint32_t handle,
                                      const ZorBlob& input, ZorBlob& output);

/// Frees `data`, and neither clears it nor touches the rest.
void FreeSerialized(const ZorBlob& blob) noexcept;

}  // namespace zor
