// libstdc++ takes 73 KB for exceptions thrown out of memory when a library with it is loaded, and
// gives them back only when asked: without this every load and unload leaks them.
#include "platform/process.h"

// The library's own name for it, declared by no header.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
namespace __gnu_cxx {
void __freeres();
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

struct RuntimeRelease {
  RuntimeRelease() = default;
  RuntimeRelease(const RuntimeRelease&) = delete;
  RuntimeRelease& operator=(const RuntimeRelease&) = delete;
  ~RuntimeRelease() {
    if (!zor::platform::ProcessIsEnding()) __gnu_cxx::__freeres();
  }
};

// Built before all but what the runtime keeps for each thread, so destroyed after all but that.
[[gnu::init_priority(102)]] const RuntimeRelease runtime_release;

}  // namespace
