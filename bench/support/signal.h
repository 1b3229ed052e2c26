/// Lets the server send one notification, from the process that receives it.
#pragma once

#include "tests/integration/support/handle.h"

namespace zor::bench {

class Signal {
 public:
  Signal()
      : event_(testing::Require(CreateEventW(nullptr, FALSE, FALSE, L"zor-bench-signal"),
                                "CreateEvent")) {}

  void Give() const noexcept { SetEvent(event_.get()); }
  [[nodiscard]] bool Wait() const noexcept {
    return WaitForSingleObject(event_.get(), INFINITE) == WAIT_OBJECT_0;
  }

 private:
  testing::UniqueHandle event_;
};

}  // namespace zor::bench
