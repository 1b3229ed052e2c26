/// The twelve exports that make a remote call, as a table: what holds for each is tested on each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>

#include "tests/kit/exports.h"
#include "tests/kit/messages.h"

namespace zor::testing {

/// All that the calls read and write, wherever a test keeps it.
struct CallRecords {
  ZorServerInfo* info;
  std::uint32_t* handle;
  std::uint32_t* status;
  ZorFloatParam* param;
  ZorNameList* list;
  ZorBlob* output;
  const ZorTextParam* text;
  const ZorBlob* input;
};

struct RemoteCall {
  const char* name;  ///< the export's, as it is sent
  const char* tag;   ///< in the log
  ZorResult (*call)(const Exports& library, const CallRecords& records);
  Bytes (*reply)();  ///< with all that the call takes from a reply
  /// Whether the outputs are what the reply to a call that succeeded has brought; nothing when the
  /// reply has nothing that the call takes.
  std::optional<bool> (*took)(const messages::CallMessage& reply, const CallRecords& records);
  std::size_t allocations = 1;  ///< of a call that succeeds
  std::size_t handed_out = 0;   ///< blocks of the common heap that it hands out
};

[[nodiscard]] std::span<const RemoteCall> RemoteCalls();

/// For the names of parameterised tests.
void PrintTo(const RemoteCall& remote, std::ostream* out);
[[nodiscard]] inline std::string NameOf(const RemoteCall& remote) { return remote.name; }

/// All that a call may write to, between canaries.
struct Outputs {
  std::array<std::uint8_t, 16> before;
  ZorServerInfo info;
  std::uint32_t handle;
  std::uint32_t status;
  ZorFloatParam param;
  ZorNameList list;
  ZorBlob blob;
  std::array<std::uint8_t, 16> after;
};

/// Owns outputs that are filled with a pattern, the name list with a name. What a call leaves in
/// them is freed with them.
class OwnedOutputs {
 public:
  OwnedOutputs();
  OwnedOutputs(const OwnedOutputs&) = delete;
  OwnedOutputs& operator=(const OwnedOutputs&) = delete;
  ~OwnedOutputs();

  [[nodiscard]] Outputs& get() { return outputs_; }
  /// With texts and a block to send.
  [[nodiscard]] CallRecords records();

  /// Byte for byte as they were made, the listed name too.
  [[nodiscard]] bool Untouched() const;
  [[nodiscard]] bool CanariesIntact() const;

 private:
  Outputs outputs_;
  Outputs original_;
};

}  // namespace zor::testing
