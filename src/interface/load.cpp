#include <cstddef>
#include <exception>
#include <memory>

#include "interface/library.h"
#include "platform/heap.h"
#include "platform/process.h"

namespace zor {
namespace {

/// Null when it cannot be made; DllMain then refuses the load. No exception may leave the
/// initialisation: below it are only the loader's frames, at which GCC's unwinder never arrives.
std::unique_ptr<Library> MakeLibrary() noexcept {
  // Without any memory the runtime has no reserve either to make an exception of.
  constexpr std::size_t kExceptions = 1024;
  void* probe = platform::HeapAllocate(kExceptions);
  platform::HeapFree(probe);
  if (probe == nullptr) return nullptr;

  try {
    return std::make_unique<Library>();
  } catch (const std::exception&) {
    return nullptr;
  }
}

/// Made by the library's static initialisation, destroyed at unload.
struct Loaded {
  std::unique_ptr<Library> owner = MakeLibrary();

  Loaded() = default;
  Loaded(const Loaded&) = delete;
  Loaded& operator=(const Loaded&) = delete;

  ~Loaded() {
    // When the whole process ends, the system has already ended the listener wherever it stood,
    // perhaps with the heap's lock in its hands, and takes everything back itself: touch nothing.
    if (platform::ProcessIsEnding()) static_cast<void>(owner.release());
  }
};

const Loaded loaded;

}  // namespace

bool IsLoaded() noexcept { return loaded.owner != nullptr; }

Library& TheLibrary() noexcept { return *loaded.owner; }

}  // namespace zor
