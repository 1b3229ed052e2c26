/// Life cycle commands and float parameters: two routines that serve five exports.
#pragma once

#include <cstdint>

#include "interface/zor_interface.h"
#include "transport/pipe_channel.h"

namespace zor {

/// Sends the command `func_name`, an export's own name, for one instance.
[[nodiscard]] ZorResult InstanceCall(PipeChannel& request, const char* func_name,
                                     std::uint32_t handle);

/// Sends `func_name` with one parameter and takes the value in the reply, if it holds one: for a
/// set as for a get. Algorithm ids are the exports' business.
[[nodiscard]] ZorResult ParamCall(PipeChannel& request, const char* func_name, std::uint32_t handle,
                                  ZorFloatParam& param);

}  // namespace zor
