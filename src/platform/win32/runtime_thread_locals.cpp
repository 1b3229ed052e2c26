// The variables of which the C++ runtime has one for each thread: what it knows of the exceptions
// that are under way there.
//
// Where GCC would keep them there must be a fiber-local slot of the process left, of which Windows
// had only 128 for a long time, and memory; without either, a thread's first exception ends the
// process. It would be the exception that says that there is no memory. Here both are in the
// library itself for a number of threads that no application comes near.
#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "platform/heap.h"
#include "platform/process.h"

namespace {

using zor::platform::HeapAllocate;
using zor::platform::HeapFree;

/// How GCC describes such a variable: see emutls.c of its runtime.
struct Variable {
  std::size_t size;
  std::size_t alignment;
  void* position;
  const void* initial_value;  ///< null: zeros
};

/// A thread's own.
struct Copy {
  static constexpr std::size_t kLargest = 32;

  std::atomic<DWORD> thread{0};  ///< 0: nobody's
  const Variable* variable = nullptr;
  Copy* next = nullptr;
  alignas(std::max_align_t) std::array<std::byte, kLargest> value{};
};

/// Copies of ended threads are used again, and none is freed before the unload. So each thread can
/// look through all of them without a lock.
class Copies {
 public:
  constexpr Copies() = default;
  Copies(const Copies&) = delete;
  Copies& operator=(const Copies&) = delete;
  ~Copies() {
    if (zor::platform::ProcessIsEnding()) return;
    for (Copy* copy = more_; copy != nullptr;) HeapFree(std::exchange(copy, copy->next));
  }

  [[nodiscard]] void* Get(const Variable& variable) noexcept {
    const DWORD self = GetCurrentThreadId();
    Copy* copy = Find([&](const Copy& candidate) {
      return candidate.thread == self && candidate.variable == &variable;
    });
    if (copy == nullptr) copy = Make(self, variable);
    return copy->value.data();
  }

  void Release(DWORD thread) noexcept {
    static_cast<void>(Find([&](Copy& copy) {
      if (copy.thread == thread) copy.thread = 0;
      return false;
    }));
  }

 private:
  static constexpr std::size_t kReserved = 64;

  template <typename Predicate>
  [[nodiscard]] Copy* Find(Predicate predicate) noexcept {
    for (Copy& copy : reserved_) {
      if (predicate(copy)) return &copy;
    }
    Copy* copy = more_;
    while (copy != nullptr && !predicate(*copy)) copy = copy->next;
    return copy;
  }

  [[nodiscard]] Copy* Make(DWORD self, const Variable& variable) noexcept {
    if (variable.size > Copy::kLargest) std::abort();
    Copy* copy = Find([&](Copy& candidate) {
      DWORD nobody = 0;
      return candidate.thread.compare_exchange_strong(nobody, self);
    });
    if (copy == nullptr) copy = Add(self);
    copy->variable = &variable;
    copy->value = {};
    if (variable.initial_value != nullptr) {
      std::memcpy(copy->value.data(), variable.initial_value, variable.size);
    }
    return copy;
  }

  [[nodiscard]] Copy* Add(DWORD self) noexcept {
    // Not by `new`, which could throw: that needs what is being made here.
    void* block = HeapAllocate(sizeof(Copy));
    if (block == nullptr) std::abort();
    Copy* copy = new (block) Copy;  // NOLINT(cppcoreguidelines-owning-memory)
    copy->thread = self;
    copy->next = more_;
    while (!more_.compare_exchange_weak(copy->next, copy)) {
    }
    return copy;
  }

  std::array<Copy, kReserved> reserved_{};
  std::atomic<Copy*> more_{nullptr};
};

// The first object to be built, so the last to be destroyed.
[[gnu::init_priority(101)]] constinit Copies copies;

void NTAPI OnThread(void* /*library*/, DWORD reason, void* /*reserved*/) {
  if (reason == DLL_THREAD_DETACH) copies.Release(GetCurrentThreadId());
}

// The loader calls what it finds in this section.
[[gnu::section(".CRT$XLF"), gnu::used]] PIMAGE_TLS_CALLBACK on_thread = OnThread;

}  // namespace

// In the place of libgcc's. It is declared by no header.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" void* __emutls_get_address(const Variable* variable) { return copies.Get(*variable); }
