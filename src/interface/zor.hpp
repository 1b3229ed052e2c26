/**
 * @file zor.hpp
 * @brief The calls of `zor_interface.h` for C++17 and later, with owners, ranges and error codes.
 *
 * Header-only; link what the C header needs. The comment of each member names the C function that
 * it calls, in square brackets; it calls nothing else. zor_interface.h describes what the calls do
 * and which results they have.
 *
 * @code
 * #include <iostream>
 * #include "zor.hpp"
 *
 * int main() {
 *   const zor::Client client;
 *   for (const auto& name : client.Enumerate()) std::cout << name.value_or("(not here)") << '\n';
 *
 *   zor::Instance instance = client.Create("general");
 *   instance.Config("rate", "48000");
 *   instance.Start();
 *   instance.Set("gain", 0.5F);
 *   instance.Stop();
 * }  // the instance is destroyed
 * @endcode
 *
 * ## Errors
 * As in `std::filesystem`, each call has two forms. The form without an `std::error_code` throws
 * `std::system_error` for every result but 0. The form with one stores the result there (0 clears
 * it); on error it returns an empty value or zero, unless its description says otherwise. The codes
 * belong to zor::ResultCategory(). They compare with zor::Result and with `std::errc`
 * (`not_connected`, `io_error`).
 *
 * Both forms throw `std::bad_alloc` when this header's own code has no memory. When the library has
 * none, programs built with GCC get the same exception; for all others see "Out of memory" in
 * zor_interface.h. The header also compiles without exceptions (`-fno-exceptions`, no `/EH`). Use
 * the forms with an `std::error_code` then: where the others would throw, they end the process by
 * `std::abort`.
 *
 * ## Threads
 * The library takes no lock, and only one thread at a time may call it. So each call here holds a
 * mutex. By default this is the header's own; each program or DLL that includes the header has one.
 * If several modules of a process call the library, or C code calls it too, create one mutex and
 * give it to all of them: see zor::Client. A client made with zor::kUnlocked takes no lock. Events
 * need no mutex: see zor::SetEventCallback().
 *
 * ## Blocking
 * "Blocks" below means: the call waits until the calls of other threads have returned, and then
 * until the server has replied. There is no time limit.
 *
 * ## Runtimes
 * The header works with every C++ compiler for Windows that has `std::mutex`, and with every C
 * runtime. Of the GNU compilers for Windows, those with the posix thread model have `std::mutex`.
 */
#ifndef ZOR_HPP
#define ZOR_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "zor_interface.h"
#include "zor_result.h"

/// The library's C++ interface.
namespace zor {

/// The selector of the list of algorithms, for Client::Enumerate().
inline constexpr std::uint32_t kAlgorithms = 2;

/// The parameter whose value is a position in the list of algorithms. Spelt so by the server.
inline constexpr const char* kAlgorithmParameter = "supproted_algo_name";

/// The results that have a name. A server may send these too, and has others of its own.
enum class Result : std::uint32_t {
  kSuccess = ZOR_SUCCESS,                     ///< ::ZOR_SUCCESS
  kTransportFailure = ZOR_TRANSPORT_FAILURE,  ///< ::ZOR_TRANSPORT_FAILURE
  kNotConnected = ZOR_NOT_CONNECTED,          ///< ::ZOR_NOT_CONNECTED
  kUnknownAlgorithm = ZOR_UNKNOWN_ALGORITHM,  ///< ::ZOR_UNKNOWN_ALGORITHM
};

/// @cond INTERNAL
namespace detail {

class Category final : public std::error_category {
 public:
  [[nodiscard]] const char* name() const noexcept override { return "zor"; }

  [[nodiscard]] std::string message(int code) const override {
    std::array<char, ZOR_RESULT_TEXT_SIZE> buffer{};
    return zor_result_text(static_cast<ZorResult>(code), buffer.data());
  }

  [[nodiscard]] std::error_condition default_error_condition(int code) const noexcept override {
    switch (static_cast<Result>(code)) {
      case Result::kTransportFailure:
        return std::errc::io_error;
      case Result::kNotConnected:
        return std::errc::not_connected;
      case Result::kSuccess:
      case Result::kUnknownAlgorithm:
        break;
    }
    return {code, *this};
  }
};

}  // namespace detail
/// @endcond

/// The category of this library's error codes; its name is "zor".
[[nodiscard]] inline const std::error_category& ResultCategory() noexcept {
  static const detail::Category category;
  return category;
}

/// The error code of a result, also of one that has no name. `value()` is the result's number.
[[nodiscard]] inline std::error_code MakeErrorCode(ZorResult result) noexcept {
  return {static_cast<int>(result), ResultCategory()};
}

/// What makes a Result an `std::error_code`; found by the standard library under this name.
[[nodiscard]] inline std::error_code make_error_code(Result result) noexcept {
  return MakeErrorCode(static_cast<ZorResult>(result));
}

/// @cond INTERNAL
namespace detail {

/// Throws; without exceptions it ends the process, as the standard library does then.
[[noreturn]] inline void Throw(std::error_code error, const char* what) {
#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
  throw std::system_error(error, what);
#else
  static_cast<void>(error);
  static_cast<void>(what);
  std::abort();
#endif
}

/// Runs `call()` and drops what it throws.
template <typename Call>
void DropExceptions(Call call) noexcept {
#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
  try {
    call();
  } catch (const std::exception&) {
  }
#else
  call();
#endif
}

/// Runs `call(error)` and throws what it reports; `what` is the export's name.
template <typename Call>
auto OrThrow(const char* what, Call call) -> std::invoke_result_t<Call, std::error_code&> {
  std::error_code error;
  if constexpr (std::is_void_v<std::invoke_result_t<Call, std::error_code&>>) {
    call(error);
    if (error) Throw(error, what);
  } else {
    auto value = call(error);
    if (error) Throw(error, what);
    return value;
  }
}

}  // namespace detail
/// @endcond

/// A list of names, in the server's order. In the list of algorithms, an entry without a name is an
/// algorithm that is not installed on this machine.
using NameList = std::vector<std::optional<std::string>>;

/// A block of bytes from the library: a range of bytes that frees itself.
class Blob {
 public:
  /// Empty: no name, no bytes.
  Blob() noexcept = default;

  /// Takes over a record that ZorIntfGetSerialized() filled.
  explicit Blob(const ZorBlob& record) noexcept : record_(record) {}

  Blob(const Blob&) = delete;
  Blob& operator=(const Blob&) = delete;

  /// Leaves `other` empty.
  Blob(Blob&& other) noexcept : record_(std::exchange(other.record_, ZorBlob())) {}

  /// Frees what this one has, and leaves `other` empty.
  Blob& operator=(Blob&& other) noexcept {
    Blob taken(std::move(other));
    std::swap(record_, taken.record_);
    return *this;
  }

  /// Frees data and name [ZorIntfFreeSerialized].
  ~Blob() {
    Free(record_.data);
    // The export here too, and not `free`: the block is of the library's C runtime, which need not
    // be the one that the application is linked with (in a debug build it is not).
    Free(record_.name);
  }

  /// Whether the server's reply held a block; one of size 0 counts.
  [[nodiscard]] explicit operator bool() const noexcept { return record_.data != nullptr; }

  /// The name that was asked for; null when none was.
  [[nodiscard]] const char* name() const noexcept { return record_.name; }

  /// The first byte; null when there is no block.
  [[nodiscard]] const std::uint8_t* data() const noexcept { return record_.data; }

  /// How many bytes there are at data().
  [[nodiscard]] std::size_t size() const noexcept { return *this ? record_.size : 0; }

  /// Whether there is no byte.
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }

  /// The range's first byte.
  [[nodiscard]] const std::uint8_t* begin() const noexcept { return data(); }

  /// The range's end.
  [[nodiscard]] const std::uint8_t* end() const noexcept { return data() + size(); }

 private:
  static void Free(void* block) noexcept {
    ZorBlob record = {nullptr, 0, static_cast<std::uint8_t*>(block)};
    static_cast<void>(ZorIntfFreeSerialized(0, &record));
  }

  ZorBlob record_ = {nullptr, 0, nullptr};
};

/// A text to pass to a call: null, a string literal, an `std::string` or an `std::string_view`. A
/// view is copied, to end it with NUL; a text ends at its first NUL.
class Text {
 public:
  // Implicit, all of them: it stands for an argument.
  Text(std::nullptr_t) noexcept {}                                    ///< Left out of the request.
  Text(const char* text) noexcept : text_(text) {}                    ///< May be null: left out.
  Text(const std::string& text) noexcept : text_(text.c_str()) {}     ///< Must outlive the call.
  Text(std::string_view text) : copy_(text), text_(copy_.c_str()) {}  ///< Is copied.

  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  ~Text() = default;

  /// The text for the C calls.
  [[nodiscard]] const char* c_str() const noexcept { return text_; }

 private:
  std::string copy_;
  const char* text_ = nullptr;
};

/// Bytes to pass to a call: any contiguous range of `std::uint8_t` or `std::byte`, such as an
/// `std::span`, an `std::vector`, an `std::array` or a Blob. Refers to the range; does not copy it.
class Bytes {
 public:
  /// `size` bytes at `data`, which may be null when `size` is 0.
  Bytes(const std::uint8_t* data, std::size_t size) noexcept : data_(data), size_(size) {}

  /// The bytes of a range. Implicit: it stands for an argument.
  template <typename Range,
            typename Value = std::remove_cv_t<
                std::remove_pointer_t<decltype(std::data(std::declval<const Range&>()))>>,
            typename = std::enable_if_t<std::is_same_v<Value, std::uint8_t> ||
                                        std::is_same_v<Value, std::byte>>>
  Bytes(const Range& range) noexcept
      : data_(static_cast<const std::uint8_t*>(static_cast<const void*>(std::data(range)))),
        size_(std::size(range)) {}

  /// The first byte.
  [[nodiscard]] const std::uint8_t* data() const noexcept { return data_; }

  /// How many there are.
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

class Instance;

/// Asks for a Client that takes no lock.
struct Unlocked {};

/// The value to ask with: `zor::Client client(zor::kUnlocked);`
inline constexpr Unlocked kUnlocked{};

/// @cond INTERNAL
namespace detail {

/// What every call holds, unless the application has asked for something else.
[[nodiscard]] inline std::mutex& CallMutex() noexcept {
  // Never destroyed: static objects may own instances.
  static std::mutex& mutex = *std::make_unique<std::mutex>().release();
  return mutex;
}

}  // namespace detail
/// @endcond

/// The calls that need no instance. A Client holds no connection and may be copied freely.
class Client {
 public:
  /// Every call holds the header's own mutex.
  Client() noexcept : mutex_(&detail::CallMutex()) {}

  /// Takes no lock: for applications that call from one thread at a time.
  explicit Client(Unlocked /*unused*/) noexcept {}

  /// Every call holds `mutex`, which must outlive the client, its copies and its instances. All
  /// code of this process that calls the library must hold the same mutex.
  explicit Client(std::mutex& mutex) noexcept : mutex_(&mutex) {}

  /// The server's four information words [ZorIntfGetInfo]. Blocks.
  [[nodiscard]] ZorServerInfo GetInfo() const {
    return detail::OrThrow("ZorIntfGetInfo",
                           [&](std::error_code& error) { return GetInfo(error); });
  }

  /// As above; all zero on error.
  [[nodiscard]] ZorServerInfo GetInfo(std::error_code& error) const {
    ZorServerInfo info = {0, 0, 0, 0};
    error = Call([&] { return ZorIntfGetInfo(&info); });
    return info;
  }

  /// The list of names with this `selector` [ZorIntfEnum]. Blocks. kAlgorithms also searches this
  /// machine and runs code of the driver package. The list is a copy, owned by the caller.
  [[nodiscard]] NameList Enumerate(std::uint32_t selector = kAlgorithms) const {
    return detail::OrThrow("ZorIntfEnum",
                           [&](std::error_code& error) { return Enumerate(selector, error); });
  }

  /// As above; empty on error.
  [[nodiscard]] NameList Enumerate(std::uint32_t selector, std::error_code& error) const {
    static ZorNameList list = {0, nullptr};
    NameList names;
    error = Call([&] {
      const ZorResult result = ZorIntfEnum(selector, &list);
      if (result == ZOR_SUCCESS) names = Copy(list);
      return result;
    });
    return names;
  }

  /// Creates an instance [ZorIntfCreate]. Blocks. The server decides what `name` and `value` mean;
  /// null leaves one of them out of the request.
  [[nodiscard]] Instance Create(const Text& name, const Text& value = nullptr) const;

  /// As above; an instance that owns nothing on error.
  [[nodiscard]] Instance Create(const Text& name, const Text& value, std::error_code& error) const;

 private:
  friend class Instance;

  template <typename Function>
  [[nodiscard]] std::error_code Call(Function call) const {
    std::unique_lock<std::mutex> lock;
    if (mutex_ != nullptr) lock = std::unique_lock<std::mutex>(*mutex_);
    return MakeErrorCode(call());
  }

  [[nodiscard]] static NameList Copy(const ZorNameList& list) {
    NameList names(list.count);
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (list.items[i] != nullptr) names[i] = list.items[i];
    }
    return names;
  }

  std::mutex* mutex_ = nullptr;
};

/**
 * @brief An instance on the server, destroyed with this object.
 *
 * An object that owns no instance (created empty, moved from, released, abandoned, destroyed) sends
 * nothing: its calls report `std::errc::invalid_argument`.
 *
 * A server that is restarted loses its instances, and may give the same handles to new ones. So a
 * handle from before the restart may be that of another instance now. Call Abandon() on all
 * instances when the server has ended.
 */
class Instance {
 public:
  /// Owns nothing.
  Instance() noexcept = default;

  /// Takes over a `handle` that ZorIntfCreate() gave.
  Instance(Client client, std::uint32_t handle) noexcept : client_(client), handle_(handle) {}

  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  /// Leaves `other` without an instance.
  Instance(Instance&& other) noexcept
      : client_(other.client_), handle_(std::exchange(other.handle_, std::nullopt)) {}

  /// Destroys the instance that this object owns, and takes that of `other`. Blocks if there is one
  /// to destroy. If both have the same handle, the server was restarted in between and its first
  /// instance is gone: then nothing is destroyed.
  Instance& operator=(Instance&& other) noexcept {
    Instance taken(std::move(other));
    if (handle_ == taken.handle_) Abandon();
    std::swap(client_, taken.client_);
    std::swap(handle_, taken.handle_);
    return *this;
  }

  /// Destroys the instance [ZorIntfDestroy]. Blocks. A failure is not reported: call Destroy() to
  /// see it.
  ~Instance() {
    if (!handle_) return;
    // No memory for the request, or a mutex that refuses: nobody is left to tell.
    detail::DropExceptions([this] {
      std::error_code ignored;
      Destroy(ignored);
    });
  }

  /// Whether there is an instance.
  [[nodiscard]] explicit operator bool() const noexcept { return handle_.has_value(); }

  /// The instance's handle, for the C calls; 0 when there is no instance.
  [[nodiscard]] std::uint32_t handle() const noexcept { return handle_.value_or(0); }

  /// Returns handle(). From then on the caller must destroy the instance.
  [[nodiscard]] std::uint32_t Release() noexcept {
    const std::uint32_t released = handle();
    handle_.reset();
    return released;
  }

  /// Gives up the instance without destroying it, when its server has ended. Sends nothing.
  void Abandon() noexcept { handle_.reset(); }

  /// Destroys the instance now [ZorIntfDestroy]. Blocks. On error it stays owned and can be tried
  /// again.
  void Destroy() {
    detail::OrThrow("ZorIntfDestroy", [&](std::error_code& error) { Destroy(error); });
  }

  /// As above.
  void Destroy(std::error_code& error) {
    error = Call([](std::uint32_t handle) { return ZorIntfDestroy(handle); });
    if (!error) handle_.reset();
  }

  /// Configures the instance [ZorIntfConfig]. Blocks. The server decides what `name` and `value`
  /// mean; null leaves one of them out of the request.
  void Config(const Text& name, const Text& value) {
    detail::OrThrow("ZorIntfConfig", [&](std::error_code& error) { Config(name, value, error); });
  }

  /// As above.
  void Config(const Text& name, const Text& value, std::error_code& error) {
    const ZorTextParam param = {name.c_str(), value.c_str()};
    error = Call([&](std::uint32_t handle) { return ZorIntfConfig(handle, &param); });
  }

  /// Starts the instance [ZorIntfStart]. Blocks.
  void Start() {
    detail::OrThrow("ZorIntfStart", [&](std::error_code& error) { Start(error); });
  }

  /// As above.
  void Start(std::error_code& error) {
    error = Call([](std::uint32_t handle) { return ZorIntfStart(handle); });
  }

  /// Stops the instance [ZorIntfStop]. Blocks.
  void Stop() {
    detail::OrThrow("ZorIntfStop", [&](std::error_code& error) { Stop(error); });
  }

  /// As above.
  void Stop(std::error_code& error) {
    error = Call([](std::uint32_t handle) { return ZorIntfStop(handle); });
  }

  /// The instance's status, 0 to 255 [ZorIntfGetStatus]. Blocks.
  [[nodiscard]] std::uint32_t GetStatus() const {
    return detail::OrThrow("ZorIntfGetStatus",
                           [&](std::error_code& error) { return GetStatus(error); });
  }

  /// As above; 0 on error.
  [[nodiscard]] std::uint32_t GetStatus(std::error_code& error) const {
    std::uint32_t status = 0;
    error = Call([&](std::uint32_t handle) { return ZorIntfGetStatus(handle, &status); });
    return status;
  }

  /// Sets a parameter [ZorIntfSet]; `name` must not be null. Blocks. Returns the value that the
  /// reply has, or else `value`; for kAlgorithmParameter the server's id.
  float Set(const Text& name, float value) {
    return detail::OrThrow("ZorIntfSet",
                           [&](std::error_code& error) { return Set(name, value, error); });
  }

  /// As above, also on error: ZorIntfSet() leaves the value in its record.
  float Set(const Text& name, float value, std::error_code& error) {
    ZorFloatParam param = {name.c_str(), value};
    error = Call([&](std::uint32_t handle) { return ZorIntfSet(handle, &param); });
    return param.value;
  }

  /// A parameter's value [ZorIntfGet]; `name` must not be null. Blocks.
  [[nodiscard]] float Get(const Text& name) const {
    return detail::OrThrow("ZorIntfGet", [&](std::error_code& error) { return Get(name, error); });
  }

  /// As above. On error 0, but for Result::kUnknownAlgorithm the server's id.
  [[nodiscard]] float Get(const Text& name, std::error_code& error) const {
    ZorFloatParam param = {name.c_str(), 0.0F};
    error = Call([&](std::uint32_t handle) { return ZorIntfGet(handle, &param); });
    return param.value;
  }

  /// Sends a block of bytes [ZorIntfSetSerialized]. Blocks. A null `name` is left out.
  void SetSerialized(const Text& name, const Bytes& bytes) {
    detail::OrThrow("ZorIntfSetSerialized",
                    [&](std::error_code& error) { SetSerialized(name, bytes, error); });
  }

  /// As above.
  void SetSerialized(const Text& name, const Bytes& bytes, std::error_code& error) {
    const ZorBlob input = Input(name, bytes);
    error = Call([&](std::uint32_t handle) { return ZorIntfSetSerialized(handle, &input); });
  }

  /// As above: `size` bytes at `data`, which may be null when `size` is 0.
  void SetSerialized(const Text& name, const std::uint8_t* data, std::size_t size) {
    SetSerialized(name, Bytes(data, size));
  }

  /// As above.
  void SetSerialized(const Text& name, const std::uint8_t* data, std::size_t size,
                     std::error_code& error) {
    SetSerialized(name, Bytes(data, size), error);
  }

  /// Fetches a block [ZorIntfGetSerialized]. Blocks. A null `name` is left out.
  [[nodiscard]] Blob GetSerialized(const Text& name) const {
    return GetSerialized(name, Bytes(nullptr, 0));
  }

  /// As above; empty on error.
  [[nodiscard]] Blob GetSerialized(const Text& name, std::error_code& error) const {
    return GetSerialized(name, Bytes(nullptr, 0), error);
  }

  /// Fetches a block, with bytes sent along for the server [ZorIntfGetSerialized]. Blocks.
  [[nodiscard]] Blob GetSerialized(const Text& name, const Bytes& bytes) const {
    return detail::OrThrow("ZorIntfGetSerialized", [&](std::error_code& error) {
      return GetSerialized(name, bytes, error);
    });
  }

  /// As above; empty on error.
  [[nodiscard]] Blob GetSerialized(const Text& name, const Bytes& bytes,
                                   std::error_code& error) const {
    const ZorBlob input = Input(name, bytes);
    ZorBlob output = {nullptr, 0, nullptr};
    error =
        Call([&](std::uint32_t handle) { return ZorIntfGetSerialized(handle, &input, &output); });
    Blob blob(output);  // frees what a failed call may have left there
    return error ? Blob() : std::move(blob);
  }

  /// As above: `size` bytes at `data`, which may be null when `size` is 0.
  [[nodiscard]] Blob GetSerialized(const Text& name, const std::uint8_t* data,
                                   std::size_t size) const {
    return GetSerialized(name, Bytes(data, size));
  }

  /// As above; empty on error.
  [[nodiscard]] Blob GetSerialized(const Text& name, const std::uint8_t* data, std::size_t size,
                                   std::error_code& error) const {
    return GetSerialized(name, Bytes(data, size), error);
  }

 private:
  template <typename Function>
  [[nodiscard]] std::error_code Call(Function call) const {
    if (!handle_) return std::make_error_code(std::errc::invalid_argument);
    return client_.Call([&] { return call(*handle_); });
  }

  /// The record for a call that only reads it: its pointers are not const in C. A size that the
  /// record cannot tell becomes its largest, which the exports refuse.
  [[nodiscard]] static ZorBlob Input(const Text& name, const Bytes& bytes) noexcept {
    // In parentheses: the system's header has a macro of the name.
    constexpr std::size_t kLargest = (std::numeric_limits<std::uint32_t>::max)();
    const std::size_t size = bytes.size() < kLargest ? bytes.size() : kLargest;
    // NOLINTBEGIN(cppcoreguidelines-pro-type-const-cast)
    return {const_cast<char*>(name.c_str()), static_cast<std::uint32_t>(size),
            const_cast<std::uint8_t*>(bytes.data())};
    // NOLINTEND(cppcoreguidelines-pro-type-const-cast)
  }

  Client client_;
  std::optional<std::uint32_t> handle_;
};

inline Instance Client::Create(const Text& name, const Text& value, std::error_code& error) const {
  const ZorTextParam param = {name.c_str(), value.c_str()};
  std::uint32_t handle = 0;
  error = Call([&] { return ZorIntfCreate(&handle, &param); });
  return error ? Instance() : Instance(*this, handle);
}

inline Instance Client::Create(const Text& name, const Text& value) const {
  return detail::OrThrow("ZorIntfCreate",
                         [&](std::error_code& error) { return Create(name, value, error); });
}

/// A notification of the server. The type alone decides which members have a value. The server
/// decides what they mean.
struct Event {
  std::uint32_t type = 0;                ///< 0 to 255
  std::optional<bool> flag;              ///< types 0, 2 and 4
  std::optional<std::uint32_t> value;    ///< types 1, 3 and 5
  std::optional<std::string_view> text;  ///< types 4 and 5; valid until the callback returns
};

/// Receives events, one at a time, on the library's background thread. All rules of
/// ::ZorEventCallback apply: it must not throw (that ends the process) and not unload the library.
/// It may make calls through a Client. If that client is unlocked, no other thread may make a call
/// at the same time.
using EventCallback = std::function<void(const Event&)>;

/// @cond INTERNAL
namespace detail {

/// The callback of this program or library, and what keeps it in place while it runs.
struct EventSlot {
  std::recursive_mutex mutex;  // recursive: a callback may replace itself
  std::shared_ptr<const EventCallback> callback;
};

[[nodiscard]] inline EventSlot& TheEventSlot() {
  // Never destroyed: the library delivers events until the process has ended, after the destructors
  // of static objects.
  static EventSlot& slot = *std::make_unique<EventSlot>().release();
  return slot;
}

[[nodiscard]] inline Event Describe(const ZorEvent& record) {
  Event event;
  event.type = record.type;
  switch (record.type) {
    case 0:
      event.flag = record.data.event0.flag;
      break;
    case 1:
      event.value = record.data.event1.value;
      break;
    case 2:
      event.flag = record.data.event2.flag;
      break;
    case 3:
      event.value = record.data.event3.value;
      break;
    case 4:
      event.flag = record.data.event4.flag;
      event.text = record.data.event4.text;
      break;
    case 5:
      event.value = record.data.event5.value;
      event.text = record.data.event5.text;
      break;
    default:
      break;
  }
  return event;
}

/// The one function that the library calls.
inline void DeliverEvent(ZorEvent* record) noexcept {
  EventSlot& slot = TheEventSlot();
  const std::lock_guard<std::recursive_mutex> lock(slot.mutex);
  const std::shared_ptr<const EventCallback> callback = slot.callback;  // it may replace itself
  if (callback != nullptr) (*callback)(Describe(*record));
}

}  // namespace detail
/// @endcond

/**
 * @brief Sets the event callback, replacing any earlier one [ZorIntfRegEventCallback].
 *
 * There is one for the whole process; an empty function switches delivery off. The call waits while
 * an event is being delivered to the earlier callback. When it returns, the earlier callback is not
 * running and will not run again, so what it refers to may be destroyed. Called from a callback it
 * does not wait, and the running callback is kept until it returns. Any thread may call it at any
 * time, but must not hold a lock that the earlier callback may wait for.
 * @param callback  Called on the library's thread. Destroyed after it has been replaced.
 */
inline void SetEventCallback(EventCallback callback) {
  std::shared_ptr<const EventCallback> held;
  if (callback) held = std::make_shared<const EventCallback>(std::move(callback));

  detail::EventSlot& slot = detail::TheEventSlot();
  {
    const std::lock_guard<std::recursive_mutex> lock(slot.mutex);
    static_cast<void>(ZorIntfRegEventCallback(held != nullptr ? &detail::DeliverEvent : nullptr));
    slot.callback.swap(held);
  }
  // The earlier callback is destroyed here, without the lock.
}

/// Sets the event callback for as long as this object lives: for callbacks that refer to local
/// objects. See SetEventCallback().
class [[nodiscard]] ScopedEventCallback {
 public:
  /// Sets the callback [ZorIntfRegEventCallback]. Waits as SetEventCallback() does.
  [[nodiscard]] explicit ScopedEventCallback(EventCallback callback) {
    SetEventCallback(std::move(callback));
  }

  ScopedEventCallback(const ScopedEventCallback&) = delete;
  ScopedEventCallback& operator=(const ScopedEventCallback&) = delete;

  /// Unregisters the event callback, even if another one has been set since
  /// [ZorIntfRegEventCallback]. Waits as SetEventCallback() does.
  ~ScopedEventCallback() { SetEventCallback(EventCallback()); }
};

}  // namespace zor

/// Lets a zor::Result stand where an `std::error_code` is expected.
template <>
struct std::is_error_code_enum<zor::Result> : std::true_type {};

#endif
