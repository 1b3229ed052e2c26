#include <memory>

#include "interface/library.h"
#include "platform/thread.h"

namespace zor {
namespace {

/// Made by the library's static initialisation, destroyed at unload.
struct Loaded {
  std::unique_ptr<Library> owner = std::make_unique<Library>();
  Library& library = *owner;

  Loaded() = default;
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  ~Loaded() {
    // When the whole process ends, the system has already ended the listener wherever it stood,
    // perhaps with the heap's lock in its hands, and takes everything back itself: touch nothing.
    if (platform::ProcessIsEnding()) static_cast<void>(owner.release());
  }
};

// What it throws is to leave the initialisation: without a listener there is no library.
const Loaded loaded;  // NOLINT(cert-err58-cpp)

}  // namespace

Library& TheLibrary() noexcept { return loaded.library; }

}  // namespace zor
