/// The server's half of the messages: making replies and notifications, reading requests.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "tests/integration/support/server_end.h"
#include "zor_messages_generated.h"

namespace zor::testing {

// --- replies

[[nodiscard]] Bytes SuccessReply();
[[nodiscard]] Bytes ResultReply(std::uint32_t result);
[[nodiscard]] Bytes InfoReply(std::uint32_t info0, std::uint32_t info1, std::uint32_t info2,
                              std::uint32_t info3);
[[nodiscard]] Bytes HandleReply(std::uint32_t handle);
[[nodiscard]] Bytes StatusReply(std::uint8_t status);
/// A value of 0 makes a parameter without a value.
[[nodiscard]] Bytes FloatReply(float value);
[[nodiscard]] Bytes EnumReply(std::uint32_t count, const std::vector<std::string>& names);
/// A size of 0 is left out, and so is the data when there is none.
[[nodiscard]] Bytes BlobReply(const char* name, std::uint32_t size,
                              const std::optional<Bytes>& data);
/// A reply that carries a result and every output of every call.
[[nodiscard]] Bytes FullReply(std::uint32_t result);

/// `message` followed by zeros up to `size`, which no reader of the message looks at.
[[nodiscard]] Bytes Padded(Bytes message, std::size_t size);

// --- notifications

struct Notice {
  const char* func_name = "ZorIntfNotify";
  std::uint8_t type = 0;
  std::uint32_t value = 0;  ///< the flag or the value, whichever the type has
  const char* text = nullptr;
  std::optional<std::uint8_t> member = std::nullopt;  ///< instead of the type's own, type + 1
};

/// Without a payload when there is none for the member.
[[nodiscard]] Bytes Build(const Notice& notice);

// --- requests

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
