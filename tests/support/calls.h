/// The record of all calls of the scripted platform, and the faults that a test puts into them.
///
/// The scripted platform implements the headers of platform/ for tests: one file per concern, each
/// with one object that a test plays the system with. All of it may be used from any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace zor::scripted {

/// The platform's functions.
enum class Function : std::uint8_t {
  kOpenPipe,
  kSetMessageReadMode,
  kPeekPipe,
  kPeekAvailable,
  kWritePipe,
  kReadPipe,
  kDisconnectPipe,
  kClosePipe,
  kFormattedLength,
  kFormat,
  kDebugOutput,
  kHeapAllocate,
  kHeapFree,
  kStartThread,
  kJoinThread,
  kSleep,
  kGetEnvironment,
  kOpenListing,
  kNextEntry,
  kSetLibraryDirectory,
  kLoadModule,
  kFindEntryPoint,
  kUtf8ToWide,
  kWideToUtf8,
  kInitializeSecurity,
  kCreateLocator,
  kConnectServer,
  kSetProxyBlanket,
  kExecQuery,
  kNextRow,
  kReadProperty,
};

/// Whether a caller can notice that the function has failed.
[[nodiscard]] bool CanFail(Function function);

/// One call of a function that can fail, and the fault that was put into it.
struct Step {
  Function function = {};
  std::optional<std::uint32_t> fault;
};

class Calls {
 public:
  /// Forgets the record, the faults and the hooks.
  void Reset();

  /// What was called since the last time, in order: "ReadPipe #4 1024 -> 12". Without the
  /// formatter's and the heap's calls, which have records of their own.
  [[nodiscard]] std::vector<std::string> Take();

  /// How often `function` was called since the last Reset(), injected failures included.
  [[nodiscard]] int Count(Function function) const;

  /// Keeps no texts and no steps: for tests that run long.
  void StopRecording();

  /// Lets the `nth` call of `function` from now fail with `error`, doing nothing.
  void Fail(Function function, std::uint32_t error, int nth = 1);

  /// Lets one step of the next ones fail with `error`, doing nothing: 0 is the next call of
  /// whatever function that can fail.
  void FailStep(std::size_t number, std::uint32_t error);

  /// The steps since the last time, in order.
  [[nodiscard]] std::vector<Step> TakeSteps();

  /// Runs `hook` at every call of `function`, on its thread, before it does its work.
  void Before(Function function, std::function<void()> hook);

  // What follows is for the scripted functions.

  /// Begins a call: counts it, runs the hook, and returns the error to fail with, if any.
  [[nodiscard]] std::optional<std::uint32_t> Enter(Function function);

  template <typename... Parts>
  void Record(Function function, const Parts&... parts) {
    if (!Keeps(function)) return;
    std::ostringstream text;
    (text << ... << parts);
    Append(text.str());
  }

 private:
  [[nodiscard]] bool Keeps(Function function) const;
  void Append(std::string text);

  mutable std::mutex mutex_;
  bool recording_ = true;
  std::vector<std::string> record_;
  std::map<Function, int> counts_;
  std::map<Function, std::map<int, std::uint32_t>> faults_;  ///< by the number of the call
  std::size_t step_ = 0;
  std::map<std::size_t, std::uint32_t> step_faults_;  ///< by the number of the step
  std::vector<Step> steps_;
  std::map<Function, std::function<void()>> hooks_;
};

/// The process's record.
[[nodiscard]] Calls& TheCalls();

/// While one exists, what its thread allocates is the scripted platform's own, not the product's.
class PlatformScope {
 public:
  PlatformScope() noexcept { ++depth_; }
  PlatformScope(const PlatformScope&) = delete;
  PlatformScope& operator=(const PlatformScope&) = delete;
  ~PlatformScope() { --depth_; }

  [[nodiscard]] static bool Inside() noexcept { return depth_ != 0; }

 private:
  static thread_local int depth_;
};

}  // namespace zor::scripted
