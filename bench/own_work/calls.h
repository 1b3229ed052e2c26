/// What each remote call does without the pipe, and the least that could do the same.
#pragma once

#include <span>

namespace zor::bench {

struct OwnWork {
  const char* name;
  void (*prepare)();  ///< before either is run
  void (*library)();  ///< the export
  void (*bare)();     ///< the generated code: builds, verifies and copies the same messages
};

[[nodiscard]] std::span<const OwnWork> OwnWorks();

}  // namespace zor::bench
