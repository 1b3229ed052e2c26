/// The twelve exports that make a remote call, as a table: what holds for each is tested on each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <span>
#include <string>

#include "interface/zor_interface.h"
#include "tests/support/messages.h"

namespace zor::scripted {

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

  /// Byte for byte as they were made, the listed name too.
  [[nodiscard]] bool Untouched() const;
  [[nodiscard]] bool CanariesIntact() const;

 private:
  Outputs outputs_;
  Outputs original_;
};

struct RemoteExport {
  const char* name;  ///< the export's, as it is sent
  const char* tag;   ///< in the log
  ZorResult (*call)(Outputs& outputs);
  Bytes (*reply)();            ///< with all that the call takes from a reply
  std::size_t allocations;     ///< of a call that succeeds
  std::size_t handed_out = 0;  ///< blocks of the runtime's heap that it hands out
};

[[nodiscard]] std::span<const RemoteExport> RemoteExports();

/// For the names of parameterised tests.
void PrintTo(const RemoteExport& remote, std::ostream* out);
[[nodiscard]] inline std::string NameOf(const RemoteExport& remote) { return remote.name; }

}  // namespace zor::scripted
