/// Many libraries whose listeners pause side by side.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/integration/support/cycles.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"

namespace zor::testing {

/// Copies of the library under several names, all loaded and connected, so that their listeners
/// pause side by side: one that is unloaded when its pause is about to end is not waited for long.
class PausingLibraries {
 public:
  explicit PausingLibraries(int count) {
    for (int i = 0; i < count; ++i) slots_.emplace_back(L"idle-" + std::to_wstring(i) + L".dll");
  }

  void LoadAll() {
    for (Slot& slot : slots_) Load(slot);
  }

  /// Unloads the one whose pause ends first, and loads it again.
  void Cycle() {
    Slot& next = *std::ranges::min_element(slots_, {}, [now = Clock::now()](const Slot& slot) {
      // One that ends sooner than it can be unloaded is found in its next pause.
      const auto rest = kPause - (now - slot.connected) % kPause;
      return rest < kTooSoon ? rest + kPause : rest;
    });
    Unload(*next.library);
    Load(next);
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::nanoseconds kPause = std::chrono::milliseconds(100);
  static constexpr std::chrono::nanoseconds kTooSoon = std::chrono::milliseconds(1);

  struct Slot {
    explicit Slot(const std::wstring& name) : copy(name) {}

    LibraryCopy copy;
    std::optional<LoadedLibrary> library;
    Clock::time_point connected;
  };

  void Load(Slot& slot) {
    slot.library.emplace(slot.copy.path());
    ASSERT_EQ((*slot.library)->Start(1), 0U);
    ASSERT_TRUE(notify_.WaitForConnections(++loads_));
    slot.connected = Clock::now();
  }

  // As many instances as there are clients, and some for those that are just ending.
  static constexpr std::size_t kInstances = 24;
  PipeServer requests_{kRequestPipe, AnswerAll, kInstances};
  PipeServer notify_{kNotifyPipe, StayIdle, kInstances};
  std::vector<Slot> slots_;
  int loads_ = 0;
};

}  // namespace zor::testing
