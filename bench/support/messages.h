/// The messages of the benchmarks: those that the library sends, and canned replies.
#pragma once

#include "messages/request.h"
#include "tests/integration/support/wire.h"

namespace zor::bench {

using testing::Bytes;

/// The request of ZorIntfGetInfo, byte for byte.
[[nodiscard]] inline Bytes InfoRequest() {
  messages::Builder builder;
  builder.Finish(messages::BuildRequest(builder, {.func_name = "ZorIntfGetInfo"}));
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

[[nodiscard]] inline Bytes InfoReply() { return testing::InfoReply(1, 2, 3, 4); }

/// A notification with a text, as long as most.
[[nodiscard]] inline Bytes Notification() {
  return testing::Build({.type = 5, .value = 1, .text = "text"});
}

}  // namespace zor::bench
