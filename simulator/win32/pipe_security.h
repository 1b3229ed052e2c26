/// Who may open the pipes.
#pragma once

#include <windows.h>

#include <memory>

namespace zor::sim {

/// The owner, the system and administrators may do everything, the user at this machine may read
/// and write, and nobody may come over the network.
class PipeSecurity {
 public:
  PipeSecurity();

  /// Null when the system could not make the descriptor; GetLastError() then says why.
  [[nodiscard]] SECURITY_ATTRIBUTES* attributes() { return descriptor_ ? &attributes_ : nullptr; }

 private:
  struct Free {
    void operator()(void* memory) const { LocalFree(memory); }
  };
  std::unique_ptr<void, Free> descriptor_;
  SECURITY_ATTRIBUTES attributes_ = {};
};

}  // namespace zor::sim
