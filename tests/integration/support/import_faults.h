/// Refusing the library what it asks of the system and of the C runtime.
#pragma once

#include <windows.h>

namespace zor::testing {

/// What the library asks for by an import.
enum class Import {
  kMemory,             ///< malloc, calloc, realloc
  kThreadPool,         ///< CreateThreadpool
  kThreadPoolMinimum,  ///< SetThreadpoolThreadMinimum
  kWorkItem,           ///< CreateThreadpoolWork
};

/// Whose requests.
enum class Whose { kMine, kOthers };

/// Which of them.
enum class Which { kOne, kAllFrom };

/// While it lives, every ZorInterface.dll that is loaded asks this program instead, from its static
/// initialisation on; the program's own requests and the system's are not touched. Must outlive
/// the library. One at a time.
class ImportFaults {
 public:
  ImportFaults();
  ImportFaults(const ImportFaults&) = delete;
  ImportFaults& operator=(const ImportFaults&) = delete;
  ~ImportFaults();

  /// Refuses the `nth` request from now, or that and all after it.
  static void Fail(Import import, int nth = 1, Which which = Which::kOne,
                   Whose whose = Whose::kMine);

  /// Refuses nothing any more. Whether anything was refused since Fail().
  static bool Stop();

 private:
  void* cookie_ = nullptr;
};

}  // namespace zor::testing
