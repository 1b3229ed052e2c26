/// The messages of the benchmarks: those that the library sends, and canned replies.
#pragma once

#include <string>
#include <vector>

#include "messages/request.h"
#include "tests/kit/messages.h"

namespace zor::bench {

using testing::Bytes;

/// The request of ZorIntfGetInfo, byte for byte.
[[nodiscard]] inline Bytes InfoRequest() {
  messages::Builder builder;
  builder.Finish(messages::BuildRequest(builder, {.func_name = "ZorIntfGetInfo"}));
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

[[nodiscard]] inline Bytes InfoReply() {
  return testing::Build(testing::Reply{.server_info = messages::ServerInfo(1, 2, 3, 4)});
}

/// As many algorithms as a server is likely to have.
[[nodiscard]] inline std::vector<std::string> ServerNames() {
  return {"general",      "private",     "whisper",     "listen",      "listening_normalization",
          "shotgun_bf",   "algorithm_7", "algorithm_8", "algorithm_9", "algorithm_10",
          "algorithm_11", "algorithm_12"};
}

[[nodiscard]] inline Bytes NamesReply() {
  const auto names = ServerNames();
  return testing::Build(testing::ListOf(names));
}

/// A notification with a text, as long as most.
[[nodiscard]] inline Bytes Notification() {
  return testing::Build(testing::Notification{.type = 5, .value = 1, .text = "text"});
}

}  // namespace zor::bench
