/// The lists of names.
#pragma once

#include <cstdint>

#include "interface/zor_interface.h"
#include "transport/pipe_channel.h"

namespace zor {

/// Replaces the contents of `list` by the server's list for `selector`.
[[nodiscard]] ZorResult Enumerate(PipeChannel& request, std::uint32_t selector, ZorNameList& list);

}  // namespace zor
