/**
 * @file zor_session_system.hpp
 * @brief What a zor::Session needs of the system, and how Windows does it. Header-only, C++17.
 *
 * Applications include zor_session.hpp. Tests give a session a zor::SessionSystem of their own.
 */
#ifndef ZOR_SESSION_SYSTEM_HPP
#define ZOR_SESSION_SYSTEM_HPP

#include <cstdint>
#include <optional>
#include <string>

#include "zor_interface.h"

#if defined(_WIN32)
#include <cstring>
#include <type_traits>
#include <utility>

#include "zor_loader.h"
#endif

namespace zor {

/// The calls of the loaded library. ZorIntfEnum() is not among them: see
/// SessionSystem::Enumerate().
struct SessionCalls {
  ZorIntfConfigFunction Config;                      ///< ::ZorIntfConfig
  ZorIntfCreateFunction Create;                      ///< ::ZorIntfCreate
  ZorIntfDestroyFunction Destroy;                    ///< ::ZorIntfDestroy
  ZorIntfFreeSerializedFunction FreeSerialized;      ///< ::ZorIntfFreeSerialized
  ZorIntfGetFunction Get;                            ///< ::ZorIntfGet
  ZorIntfGetInfoFunction GetInfo;                    ///< ::ZorIntfGetInfo
  ZorIntfGetSerializedFunction GetSerialized;        ///< ::ZorIntfGetSerialized
  ZorIntfGetStatusFunction GetStatus;                ///< ::ZorIntfGetStatus
  ZorIntfRegEventCallbackFunction RegEventCallback;  ///< ::ZorIntfRegEventCallback
  ZorIntfSetFunction Set;                            ///< ::ZorIntfSet
  ZorIntfSetSerializedFunction SetSerialized;        ///< ::ZorIntfSetSerialized
  ZorIntfStartFunction Start;                        ///< ::ZorIntfStart
  ZorIntfStopFunction Stop;                          ///< ::ZorIntfStop
};

/// Which process a server is. Two servers are never equal.
struct ServerIdentity {
  std::uint32_t process = 0;  ///< the process's number, which the system uses again
  std::uint64_t started = 0;  ///< when it began; 0: this user may not know

  /// Whether both are the same process.
  [[nodiscard]] friend bool operator==(const ServerIdentity& a, const ServerIdentity& b) noexcept {
    return a.process == b.process && a.started == b.started;
  }
};

/// What a session needs of the system: one function for each thing. All of them are called on the
/// session's worker, except for CancelWorker().
class SessionSystem {
 public:
  SessionSystem() = default;
  SessionSystem(const SessionSystem&) = delete;
  SessionSystem& operator=(const SessionSystem&) = delete;
  virtual ~SessionSystem() = default;

  /// The worker begins: the calling thread is the one that CancelWorker() means.
  virtual void EnterWorker() = 0;
  /// The worker ends. CancelWorker() is not called any more.
  virtual void LeaveWorker() noexcept = 0;
  /// Ends what the worker waits for in a pipe at this moment, if it does. From any thread.
  virtual void CancelWorker() noexcept = 0;

  /// Loads the library and fills `calls`. Returns an empty text, or why it is not loaded.
  [[nodiscard]] virtual std::string Load(SessionCalls& calls) = 0;
  /// Unloads it. False when it has not left the process.
  [[nodiscard]] virtual bool Unload() noexcept = 0;
  /// ::ZorIntfEnum with what it needs around it: COM, and the process's directory for libraries set
  /// back.
  [[nodiscard]] virtual ZorResult Enumerate(std::uint32_t selector, ZorNameList* list) = 0;

  /// Whether the server is there. Sends nothing and takes no connection. The first time after the
  /// connection of WatchServer() has broken it is false, whoever is there by then.
  [[nodiscard]] virtual bool SeesServer() noexcept = 0;
  /// Connects to the server and stays connected, to see when it ends. Nothing when there is no
  /// connection left for it: then SeesServer() goes by the pipe's name.
  [[nodiscard]] virtual std::optional<ServerIdentity> WatchServer() noexcept = 0;
};

#if defined(_WIN32)

/// @cond INTERNAL
namespace detail {

/// A handle of the system, closed with this object.
class OwnedHandle {
 public:
  OwnedHandle() noexcept = default;
  explicit OwnedHandle(HANDLE handle) noexcept
      : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  OwnedHandle(const OwnedHandle&) = delete;
  OwnedHandle& operator=(const OwnedHandle&) = delete;
  OwnedHandle(OwnedHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  OwnedHandle& operator=(OwnedHandle&& other) noexcept {
    OwnedHandle taken(std::move(other));
    std::swap(handle_, taken.handle_);
    return *this;
  }
  ~OwnedHandle() {
    if (handle_ != nullptr) CloseHandle(handle_);
  }

  [[nodiscard]] explicit operator bool() const noexcept { return handle_ != nullptr; }
  [[nodiscard]] HANDLE get() const noexcept { return handle_; }

 private:
  HANDLE handle_ = nullptr;
};

/// COM on the calling thread, from the first Begin() on. Found at run time: the application need
/// not link it.
class ComOnThisThread {
 public:
  ComOnThisThread() noexcept = default;
  ComOnThisThread(const ComOnThisThread&) = delete;
  ComOnThisThread& operator=(const ComOnThisThread&) = delete;
  ~ComOnThisThread() { End(); }

  void Begin() noexcept {
    if (library_ != nullptr) return;
    library_ = LoadLibraryExW(L"ole32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (library_ == nullptr) return;
    const auto initialize = Find<HRESULT(WINAPI*)(void*, DWORD)>("CoInitializeEx");
    constexpr DWORD kMultithreaded = 0;
    initialized_ = initialize != nullptr && SUCCEEDED(initialize(nullptr, kMultithreaded));
  }

  void End() noexcept {
    if (initialized_) {
      const auto uninitialize = Find<void(WINAPI*)()>("CoUninitialize");
      if (uninitialize != nullptr) uninitialize();
    }
    if (library_ != nullptr) FreeLibrary(library_);
    initialized_ = false;
    library_ = nullptr;
  }

 private:
  template <typename Function>
  [[nodiscard]] Function Find(const char* name) const noexcept {
    const FARPROC found = GetProcAddress(library_, name);
    Function function = nullptr;
    static_assert(sizeof function == sizeof found, "both are addresses of code");
    std::memcpy(&function, &found, sizeof function);
    return function;
  }

  HMODULE library_ = nullptr;
  bool initialized_ = false;
};

}  // namespace detail
/// @endcond

/// The system of a session on Windows.
class WindowsSessionSystem : public SessionSystem {
 public:
  /// The library's full path; empty: `ZorInterface.dll` beside the program.
  explicit WindowsSessionSystem(std::wstring path = std::wstring()) : path_(std::move(path)) {}

  /// Remembers the calling thread.
  void EnterWorker() override {
    worker_ = detail::OwnedHandle(OpenThread(THREAD_TERMINATE, FALSE, GetCurrentThreadId()));
  }

  /// Ends what it has for the thread.
  void LeaveWorker() noexcept override {
    watch_ = detail::OwnedHandle();
    com_.End();
    worker_ = detail::OwnedHandle();
  }

  /// `CancelSynchronousIo`.
  void CancelWorker() noexcept override { CancelSynchronousIo(worker_.get()); }

  /// zor_load().
  [[nodiscard]] std::string Load(SessionCalls& calls) override {
    ZorLoadError error;
    if (zor_load(&library_, path_.empty() ? nullptr : path_.c_str(), &error) != ZOR_LOAD_OK) {
      char text[ZOR_LOAD_TEXT_SIZE];
      return zor_load_text(&error, text);
    }
    calls = {library_.ZorIntfConfig,
             library_.ZorIntfCreate,
             library_.ZorIntfDestroy,
             library_.ZorIntfFreeSerialized,
             library_.ZorIntfGet,
             library_.ZorIntfGetInfo,
             library_.ZorIntfGetSerialized,
             library_.ZorIntfGetStatus,
             library_.ZorIntfRegEventCallback,
             library_.ZorIntfSet,
             library_.ZorIntfSetSerialized,
             library_.ZorIntfStart,
             library_.ZorIntfStop};
    return std::string();
  }

  /// zor_unload().
  [[nodiscard]] bool Unload() noexcept override { return zor_unload(&library_); }

  /// zor_enum(), with COM initialised for selector 2.
  [[nodiscard]] ZorResult Enumerate(std::uint32_t selector, ZorNameList* list) override {
    constexpr std::uint32_t kOfThisMachine = 2;
    if (selector == kOfThisMachine) com_.Begin();
    return zor_enum(&library_, selector, list);
  }

  /// `PeekNamedPipe` on the connection of WatchServer(); without one `WaitNamedPipe`, which takes
  /// no connection.
  [[nodiscard]] bool SeesServer() noexcept override {
    if (watch_) {
      if (PeekNamedPipe(watch_.get(), nullptr, 0, nullptr, nullptr, nullptr) != FALSE ||
          GetLastError() == ERROR_OPERATION_ABORTED) {  // CancelWorker()
        return true;
      }
      // At once: Windows keeps the name of a pipe until its last client has closed it, too.
      watch_ = detail::OwnedHandle();
      return false;
    }
    constexpr DWORD kDoNotWait = 1;
    if (WaitNamedPipeW(kRequestPipe, kDoNotWait) != FALSE) return true;
    // All its connections may be in use.
    return GetLastError() != ERROR_FILE_NOT_FOUND;
  }

  /// Opens the request pipe, for reading only, and sends nothing.
  [[nodiscard]] std::optional<ServerIdentity> WatchServer() noexcept override {
    watch_ =
        detail::OwnedHandle(CreateFileW(kRequestPipe, GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                        SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr));
    ULONG process = 0;
    if (!watch_ || GetNamedPipeServerProcessId(watch_.get(), &process) == FALSE) {
      watch_ = detail::OwnedHandle();
      return std::nullopt;
    }
    return ServerIdentity{process, BeginningOf(process)};
  }

 private:
  static constexpr const wchar_t* kRequestPipe = L"\\\\.\\Pipe\\ZorSWNRpipe";

  /// 0 for a process of another user, as a rule.
  [[nodiscard]] static std::uint64_t BeginningOf(DWORD process_id) noexcept {
    const detail::OwnedHandle process(
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
    FILETIME begin = {0, 0};
    FILETIME end = {0, 0};
    FILETIME in_system = {0, 0};
    FILETIME in_program = {0, 0};
    if (!process || GetProcessTimes(process.get(), &begin, &end, &in_system, &in_program) == FALSE)
      return 0;
    return (std::uint64_t{begin.dwHighDateTime} << 32U) | begin.dwLowDateTime;
  }

  std::wstring path_;
  ZorLibrary library_ = {};
  detail::OwnedHandle worker_;
  detail::OwnedHandle watch_;
  detail::ComOnThisThread com_;
};

#endif  // _WIN32

}  // namespace zor

#endif
