/// The library as a client of hostile servers, with an eye on the handles it leaves behind.
#pragma once

#include <windows.h>

#include <algorithm>
#include <set>

#include "tests/hostile/support/caller.h"
#include "tests/hostile/support/log_hook.h"
#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/process_usage.h"

namespace zor::hostile {

/// The clients' ends of pipes that have come since, which it closes: nobody is to use them any
/// more. How many.
[[nodiscard]] inline std::size_t CloseAllBut(const std::set<HANDLE>& others) {
  std::size_t count = 0;
  for (const HANDLE end : testing::ClientPipeEnds()) {
    if (others.contains(end)) continue;
    CloseHandle(end);
    ++count;
  }
  return count;
}

/// Loads the library and makes calls. Where there is a notification server too, its connections
/// are not told from those of the calls.
class Client {
 public:
  /// A call to a server that answers as it should, if it does.
  ZorResult Call(const RemoteCall& remote) {
    testing::DebugCapture::Clear();
    const ZorResult result = caller_.Call(remote);
    opened_ += static_cast<std::size_t>(std::ranges::count(log_.Mine(), std::string(kOpened)));
    return result;
  }

  [[nodiscard]] const testing::Exports* operator->() const { return library_.operator->(); }

  /// Unloads, and expects one handle for each connection that ended, but for the last one, which
  /// the unload has closed. How many connections there were.
  std::size_t UnloadAndCountConnections() {
    library_.Unload();
    EXPECT_EQ(CloseAllBut(others_) + 1, opened_);
    return opened_;
  }

 private:
  const std::set<HANDLE> others_ = testing::ClientPipeEnds();
  std::size_t opened_ = 0;
  testing::DebugCapture log_;
  testing::LoadedLibrary library_;
  Caller caller_{library_};
};

}  // namespace zor::hostile
