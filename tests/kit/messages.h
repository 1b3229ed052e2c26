/// The server's half of the messages: making replies and notifications, reading requests. Nothing
/// of the product is used but the schema.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "zor_messages_generated.h"

namespace zor::testing {

using Bytes = std::vector<std::uint8_t>;

/// The bytes of the message that `build` makes in a builder: it returns the root.
template <typename Build>
[[nodiscard]] Bytes BuildMessage(Build build) {
  flatbuffers::FlatBufferBuilder builder;
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

  std::optional<std::string> func_name = "ZorIntfReplied!";
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

/// A list of these names, and of as many.
[[nodiscard]] Reply ListOf(std::vector<std::string> names);

/// A reply with this result and every output of every call.
[[nodiscard]] Reply FullReply(std::uint32_t result);

/// A notification, with the payload that belongs to its type; for types above 5 with none.
struct Notification {
  std::uint8_t type = 0;
  std::uint32_t value = 0;  ///< the flag or the value, whichever the type has
  std::optional<std::string> text = "";
  std::string func_name = "ZorIntfNotify";
  std::optional<std::uint8_t> member = {};  ///< of the union, instead of the type's own
};

[[nodiscard]] Bytes Build(const Notification& notification);

/// `message` followed by zeros up to `size`, which no reader of the message looks at.
[[nodiscard]] Bytes Padded(Bytes message, std::size_t size);

/// A request that the verifier has accepted. Throws for one that it has not.
class Request {
 public:
  explicit Request(Bytes bytes);

  [[nodiscard]] const messages::CallMessage* operator->() const { return root_; }

  /// The vtable offsets of the fields that the message carries, in ascending order.
  [[nodiscard]] std::vector<int> Fields() const { return FieldsOf(root_); }

  /// The same of a table inside the message.
  template <typename Table>
  [[nodiscard]] static std::vector<int> FieldsOf(const Table* table) {
    return FieldsOfTable(reinterpret_cast<const flatbuffers::Table*>(table));
  }

 private:
  [[nodiscard]] static std::vector<int> FieldsOfTable(const flatbuffers::Table* table);

  Bytes bytes_;
  const messages::CallMessage* root_;
};

}  // namespace zor::testing
