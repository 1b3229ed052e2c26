/// Information, creation, configuration and status.
#pragma once

#include <cstdint>

#include "interface/zor_interface.h"
#include "transport/pipe_channel.h"

namespace zor {

[[nodiscard]] ZorResult GetInfo(PipeChannel& request, ZorServerInfo& info);
[[nodiscard]] ZorResult Create(PipeChannel& request, std::uint32_t& handle,
                               const ZorTextParam& param);
[[nodiscard]] ZorResult Config(PipeChannel& request, std::uint32_t handle,
                               const ZorTextParam& param);
[[nodiscard]] ZorResult GetStatus(PipeChannel& request, std::uint32_t handle,
                                  std::uint32_t& status);

}  // namespace zor
