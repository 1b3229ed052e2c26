/**
 * @file zor_session.hpp
 * @brief The library for applications that must not hang: calls with deadlines, from any thread.
 *        Header-only, C++17.
 *
 * A zor::Session loads `ZorInterface.dll` itself, by zor_loader.h: link no import library. One
 * thread of the session, the worker, makes all calls, one after the other. A call is asked for from
 * any thread and gives an `std::future`, which has its result, or an exception, at the deadline at
 * the latest.
 *
 * @code
 * #include <chrono>
 * #include <iostream>
 * #include "zor_session.hpp"
 *
 * int main() {
 *   using namespace std::chrono_literals;
 *   zor::Session session;
 *   if (!session.WaitForServer(10s)) return 1;
 *   zor::SessionInstance instance = session.Create("general").get();
 *   instance.Start().get();
 *   std::future<float> gain = instance.Get("gain", 500ms);
 *   try {
 *     std::cout << gain.get() << '\n';
 *   } catch (const std::system_error& error) {  // std::errc::timed_out, for one
 *     std::cout << error.what() << '\n';
 *   }
 * }
 * @endcode
 *
 * ## Deadlines
 * A call that is still in the pipe at its deadline is ended by `CancelSynchronousIo`, and its
 * caller is told SessionError::kTimedOut. The reply may still come, and the library would take it
 * for the next call's. So the session then always unloads the library and loads it anew before it
 * sends anything else; the server keeps the instances. It does the same after a reply that was not
 * valid
 * (::ZOR_TRANSPORT_FAILURE): the rest of it may still come. A new load takes as long as
 * `FreeLibrary`, 100 ms as a rule; notifications of that time are lost; reloads() counts. What the
 * server did with a request that timed out, nobody can tell.
 *
 * Code of the driver package, which Session::Enumerate() runs, cannot be ended. Its caller is told
 * at the deadline all the same; the calls that follow wait until it has returned, or for their own
 * deadlines.
 *
 * ## The library, when somebody else has it too
 * A library that another part of the process has loaded does not leave the process. Its connection
 * stays, with the late reply in it. The session then refuses all further calls
 * (SessionError::kLibraryHeld). Give a session its own copy of the file, or be the only user.
 *
 * ## The ids of algorithms
 * The ids live in the loaded library. After a new load, and for another server, the session fetches
 * the list of algorithms again, where it had been fetched, and compares it with the one it gave
 * out. If they differ, it says so (SessionEventKind::kAlgorithmsChanged), and calls with
 * zor::kAlgorithmParameter fail until Session::Enumerate() has been called again.
 *
 * ## The server's life
 * The session sees the server end, come back and be another process, and tells it by events. For
 * this it keeps one connection to the request pipe open, on which nothing is ever sent. It connects
 * only after the library has: a server that has one connection to give has given it to the library.
 * Then there is none for the session, and it goes by the name of the pipe: it cannot tell one
 * server from the next, and takes one that comes back for another. How soon it notices: before and
 * after a call of an instance at once, otherwise within SessionOptions::look_interval.
 *
 * An instance belongs to the server that made it. When that has ended, its calls fail with
 * SessionError::kInstanceLost, and its destructor sends nothing: the new server may have given the
 * same handle to somebody else. Between this check and the request's arrival is a gap of some
 * microseconds, in which the server can still be replaced.
 *
 * ## Threads
 * Every member may be called from any thread. A call that an event's callback asks for on the
 * worker is made at once, before those that wait: its future is ready on return. There is one
 * session at a time in a program or DLL, since the library has one callback. Do not construct or
 * destroy it in `DllMain`, nor in a static object of a DLL.
 *
 * ## What it needs
 * Exceptions, and `std::thread` (of the GNU compilers for Windows the posix thread model). On
 * Windows it includes `windows.h`.
 */
#ifndef ZOR_SESSION_HPP
#define ZOR_SESSION_HPP

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "zor_session_core.hpp"

namespace zor {

/// How long a call may take, from its being asked for on; nothing: as SessionOptions::limit says.
using Limit = std::optional<std::chrono::milliseconds>;

/// @cond INTERNAL
namespace detail {

/// A text that is kept until the call is made.
class KeptText {
 public:
  explicit KeptText(const Text& text) {
    if (text.c_str() != nullptr) text_ = text.c_str();
  }
  [[nodiscard]] const char* c_str() const noexcept { return text_ ? text_->c_str() : nullptr; }
  /// For records that are only read: their pointers are not const in C.
  [[nodiscard]] char* data() noexcept { return text_ ? text_->data() : nullptr; }

 private:
  std::optional<std::string> text_;
};

}  // namespace detail
/// @endcond

/**
 * @brief An instance on the server, made by a session, and destroyed with this object.
 *
 * Asking for a call sends nothing yet; each gives a future. One that owns nothing (made empty,
 * moved from, abandoned, destroyed) has calls that fail with SessionError::kNoInstance.
 */
class SessionInstance {
 public:
  /// Owns nothing.
  SessionInstance() noexcept = default;

  SessionInstance(const SessionInstance&) = delete;
  SessionInstance& operator=(const SessionInstance&) = delete;

  /// Leaves `other` without an instance.
  SessionInstance(SessionInstance&& other) noexcept
      : core_(std::move(other.core_)), handle_(other.handle_), generation_(other.generation_) {}

  /// As the destructor for the instance that this one owns; leaves `other` without one.
  SessionInstance& operator=(SessionInstance&& other) noexcept {
    SessionInstance taken(std::move(other));
    std::swap(core_, taken.core_);
    std::swap(handle_, taken.handle_);
    std::swap(generation_, taken.generation_);
    return *this;
  }

  /// Asks the session to destroy the instance [ZorIntfDestroy], and does not wait. Sends nothing
  /// when its server has ended.
  ~SessionInstance() {
    if (core_ == nullptr) return;
    detail::DropExceptions([this] { static_cast<void>(Destroy()); });
  }

  /// Whether there is an instance; also when it is lost.
  [[nodiscard]] explicit operator bool() const noexcept { return core_ != nullptr; }

  /// Whether its server is known to have ended.
  [[nodiscard]] bool IsLost() const noexcept {
    return core_ != nullptr && core_->generation() != generation_;
  }

  /// The instance's handle; 0 when there is no instance.
  [[nodiscard]] std::uint32_t handle() const noexcept { return core_ == nullptr ? 0 : handle_; }

  /// Gives the instance up without destroying it. Sends nothing.
  void Abandon() noexcept { core_.reset(); }

  /// Destroys the instance [ZorIntfDestroy]. This object owns nothing from now on.
  std::future<void> Destroy(Limit limit = std::nullopt) {
    auto destroyed = Ask<void>(
        "ZorIntfDestroy", limit,
        [](const SessionCalls& zor, std::uint32_t handle) { return zor.Destroy(handle); });
    Abandon();
    return destroyed;
  }

  /// Configures the instance [ZorIntfConfig]. `name` and `value` are the server's to interpret;
  /// null leaves one out.
  [[nodiscard]] std::future<void> Config(const Text& name, const Text& value,
                                         Limit limit = std::nullopt) {
    return Ask<void>("ZorIntfConfig", limit,
                     [name = detail::KeptText(name), value = detail::KeptText(value)](
                         const SessionCalls& zor, std::uint32_t handle) {
                       const ZorTextParam param = {name.c_str(), value.c_str()};
                       return zor.Config(handle, &param);
                     });
  }

  /// Starts the instance [ZorIntfStart].
  [[nodiscard]] std::future<void> Start(Limit limit = std::nullopt) {
    return Ask<void>("ZorIntfStart", limit, [](const SessionCalls& zor, std::uint32_t handle) {
      return zor.Start(handle);
    });
  }

  /// Stops the instance [ZorIntfStop].
  [[nodiscard]] std::future<void> Stop(Limit limit = std::nullopt) {
    return Ask<void>("ZorIntfStop", limit, [](const SessionCalls& zor, std::uint32_t handle) {
      return zor.Stop(handle);
    });
  }

  /// The instance's status, 0 to 255 [ZorIntfGetStatus].
  [[nodiscard]] std::future<std::uint32_t> GetStatus(Limit limit = std::nullopt) const {
    return Ask<std::uint32_t>("ZorIntfGetStatus", limit,
                              [](const SessionCalls& zor, std::uint32_t handle,
                                 std::uint32_t& status) { return zor.GetStatus(handle, &status); });
  }

  /// Sets a parameter [ZorIntfSet]; `name` must not be null. The future has the value that the call
  /// left in the record: the server's, when it replies with one; for kAlgorithmParameter the
  /// server's id.
  [[nodiscard]] std::future<float> Set(const Text& name, float value, Limit limit = std::nullopt) {
    return AskParameter("ZorIntfSet", limit, &SessionCalls::Set, name, value);
  }

  /// A parameter's value [ZorIntfGet]; `name` must not be null.
  [[nodiscard]] std::future<float> Get(const Text& name, Limit limit = std::nullopt) const {
    return AskParameter("ZorIntfGet", limit, &SessionCalls::Get, name, 0.0F);
  }

  /// Sends a block of bytes [ZorIntfSetSerialized]. A null `name` is left out.
  [[nodiscard]] std::future<void> SetSerialized(const Text& name, const Bytes& bytes,
                                                Limit limit = std::nullopt) {
    return Ask<void>("ZorIntfSetSerialized", limit,
                     [name = detail::KeptText(name), bytes = Copy(bytes)](
                         const SessionCalls& zor, std::uint32_t handle) mutable {
                       const ZorBlob block = Record(name, bytes);
                       return zor.SetSerialized(handle, &block);
                     });
  }

  /// Fetches a block [ZorIntfGetSerialized]; nothing when the reply holds none. A null `name` is
  /// left out; `bytes` are sent along for the server.
  [[nodiscard]] std::future<std::optional<std::vector<std::uint8_t>>> GetSerialized(
      const Text& name, const Bytes& bytes = Bytes(nullptr, 0), Limit limit = std::nullopt) const {
    using Block = std::optional<std::vector<std::uint8_t>>;
    return Ask<Block>("ZorIntfGetSerialized", limit,
                      [name = detail::KeptText(name), bytes = Copy(bytes)](
                          const SessionCalls& zor, std::uint32_t handle, Block& block) mutable {
                        const ZorBlob input = Record(name, bytes);
                        ZorBlob output = {nullptr, 0, nullptr};
                        const ZorResult result = zor.GetSerialized(handle, &input, &output);
                        if (result == ZOR_SUCCESS && output.data != nullptr) {
                          block.emplace(output.data, output.data + output.size);
                        }
                        Free(zor, output.data);
                        Free(zor, output.name);
                        return result;
                      });
  }

 private:
  friend class Session;

  SessionInstance(std::shared_ptr<detail::SessionCore> core, std::uint32_t handle,
                  std::uint64_t generation) noexcept
      : core_(std::move(core)), handle_(handle), generation_(generation) {}

  /// `call(calls, handle)`, or `call(calls, handle, T&)`, is the export.
  template <typename T, typename Call>
  [[nodiscard]] std::future<T> Ask(const char* name, Limit limit, Call call,
                                   bool with_algorithm_id = false) const {
    if (core_ == nullptr) {
      std::promise<T> none;
      none.set_exception(
          std::make_exception_ptr(std::system_error(SessionError::kNoInstance, name)));
      return none.get_future();
    }
    // The task is the session's: it must not own it.
    detail::SessionCore* const core = core_.get();
    auto make = [core, handle = handle_, generation = generation_, with_algorithm_id,
                 call = std::move(call)](auto&... value) mutable -> std::error_code {
      std::error_code error = core->FindServer(generation);
      if (!error && with_algorithm_id) error = core->CheckAlgorithmIds();
      if (error) return error;
      return core->Take(call(core->calls(), handle, value...));
    };
    return core_->Ask<T>(name, limit, std::move(make));
  }

  [[nodiscard]] std::future<float> AskParameter(const char* export_name, Limit limit,
                                                ZorIntfGetFunction SessionCalls::*function,
                                                const Text& name, float value) const {
    const bool with_algorithm_id =
        name.c_str() != nullptr && std::string_view(name.c_str()) == kAlgorithmParameter;
    return Ask<float>(
        export_name, limit,
        [function, value, name = detail::KeptText(name)](const SessionCalls& zor,
                                                         std::uint32_t handle, float& result) {
          ZorFloatParam param = {name.c_str(), value};
          const ZorResult returned = (zor.*function)(handle, &param);
          result = param.value;
          return returned;
        },
        with_algorithm_id);
  }

  [[nodiscard]] static std::vector<std::uint8_t> Copy(const Bytes& bytes) {
    if (bytes.size() == 0) return {};
    return {bytes.data(), bytes.data() + bytes.size()};
  }

  /// A size that the record cannot tell becomes its largest, which the exports refuse.
  [[nodiscard]] static ZorBlob Record(detail::KeptText& name,
                                      std::vector<std::uint8_t>& bytes) noexcept {
    constexpr std::size_t kLargest = (std::numeric_limits<std::uint32_t>::max)();
    return {name.data(), static_cast<std::uint32_t>((std::min)(bytes.size(), kLargest)),
            bytes.data()};
  }

  /// The name too: the library's C runtime need not be the application's.
  static void Free(const SessionCalls& zor, void* block) {
    ZorBlob record = {nullptr, 0, static_cast<std::uint8_t*>(block)};
    static_cast<void>(zor.FreeSerialized(0, &record));
  }

  std::shared_ptr<detail::SessionCore> core_;
  std::uint32_t handle_ = 0;
  std::uint64_t generation_ = 0;
};

/// The loaded library, the thread that calls it, and what is known about the server.
class Session {
 public:
#if defined(_WIN32)
  /// Loads the library. Throws `std::system_error` when that fails, or when there is a session.
  explicit Session(SessionOptions options = SessionOptions())
      : Session(std::make_unique<WindowsSessionSystem>(options.library), std::move(options)) {}
#endif

  /// With another system than Windows: for tests.
  explicit Session(std::unique_ptr<SessionSystem> system, SessionOptions options = SessionOptions())
      : core_(std::make_shared<detail::SessionCore>(std::move(options), std::move(system))) {}

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Makes the calls that have been asked for, each until its deadline at the longest, and unloads
  /// the library. Events that have not been delivered are dropped. Waits for a callback that runs.
  ~Session() { core_->Close(); }

  /// The server's four information words [ZorIntfGetInfo].
  [[nodiscard]] std::future<ZorServerInfo> GetInfo(Limit limit = std::nullopt) {
    detail::SessionCore* const core = core_.get();
    return core_->Ask<ZorServerInfo>("ZorIntfGetInfo", limit, [core](ZorServerInfo& info) {
      return core->Take(core->calls().GetInfo(&info));
    });
  }

  /// The names that `selector` stands for [ZorIntfEnum]. The list of kAlgorithms is fetched once
  /// for each load of the library, with COM initialised on the worker, and kept.
  [[nodiscard]] std::future<NameList> Enumerate(std::uint32_t selector = kAlgorithms,
                                                Limit limit = std::nullopt) {
    detail::SessionCore* const core = core_.get();
    return core_->Ask<NameList>("ZorIntfEnum", limit, [core, selector](NameList& names) {
      if (selector == kAlgorithms) return core->Algorithms(names);
      return core->Enumerate(selector, names);
    });
  }

  /// A new instance [ZorIntfCreate]. `name` and `value` are the server's to interpret; null leaves
  /// one out. When it times out the server may have an instance that nobody knows the handle of.
  [[nodiscard]] std::future<SessionInstance> Create(const Text& name, const Text& value = nullptr,
                                                    Limit limit = std::nullopt) {
    return core_->Ask<SessionInstance>(
        "ZorIntfCreate", limit,
        [weak = std::weak_ptr<detail::SessionCore>(core_), name = detail::KeptText(name),
         value = detail::KeptText(value)](SessionInstance& instance) -> std::error_code {
          const auto core = weak.lock();
          std::error_code error = core->FindServer();
          if (error) return error;
          const std::uint64_t its_server = core->generation();
          const ZorTextParam param = {name.c_str(), value.c_str()};
          std::uint32_t handle = 0;
          error = core->Take(core->calls().Create(&handle, &param));
          if (error) return error;
          if (!core->StillServes(its_server)) return SessionError::kInstanceLost;
          instance = SessionInstance(core, handle, its_server);
          return {};
        });
  }

  /// Waits until the server is there and replies. False when it does not within `limit`.
  [[nodiscard]] bool WaitForServer(std::chrono::milliseconds limit) {
    return core_->WaitForServer(limit);
  }

  /// For Delivery::kPoll: delivers the events that have come, on the calling thread. How many.
  std::size_t Poll() { return core_->Poll(); }

  /// How often the library has been loaded anew.
  [[nodiscard]] std::uint64_t reloads() const noexcept { return core_->reloads(); }

  /// How often another server has taken the place of the one before.
  [[nodiscard]] std::uint64_t generation() const noexcept { return core_->generation(); }

  /// How many notifications were dropped since nobody took them.
  [[nodiscard]] std::uint64_t dropped_events() const noexcept { return core_->dropped_events(); }

 private:
  std::shared_ptr<detail::SessionCore> core_;
};

}  // namespace zor

#endif
