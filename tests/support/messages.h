/// Messages as a server sends them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "messages/request.h"
#include "tests/support/pipes.h"

namespace zor::scripted {

/// The bytes of the message that `build` makes in a builder: it returns the root.
template <typename Build>
[[nodiscard]] Bytes BuildMessage(Build build) {
  messages::Builder builder;
  builder.Finish(build(builder));
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

/// A reply; what is not given is absent. Its last byte is the end of its name, so it is valid
/// whole, and at no shorter length.
struct Reply {
  struct Block {
    std::optional<std::string> name = {};
    std::uint32_t size = 0;
    std::optional<Bytes> data = {};
  };
  struct Names {
    std::uint32_t count = 0;
    std::optional<std::vector<std::string>> names = {};
  };

  std::string func_name = "ZorIntfReplied!";
  std::optional<messages::ServerInfo> server_info = {};
  std::optional<Names> enum_result = {};
  std::optional<float> float_param = {};
  std::uint8_t status = 0;
  std::uint32_t handle = 0;
  std::uint32_t result = 0;
  std::optional<Block> blob_result = {};
  /// Scalars at their defaults are in the message as well.
  bool with_defaults = false;
};

[[nodiscard]] Bytes Build(const Reply& reply);

/// A notification, with the payload that belongs to its type; for types above 5 with none.
struct Notification {
  std::uint8_t type = 0;
  std::uint32_t value = 0;
  std::string text = {};
  std::string func_name = "ZorIntfNotify";
};

[[nodiscard]] Bytes Build(const Notification& notification);

}  // namespace zor::scripted
