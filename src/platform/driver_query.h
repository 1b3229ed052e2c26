/// A query of the system's management service (WMI), one COM call per step.
#pragma once

#include <cstdint>
#include <memory>

namespace zor::platform {

/// A COM result: negative on failure.
using ComResult = std::int32_t;

/// Everything that one query takes from COM, released with the object. The steps are made in their
/// order, each only after the one before has succeeded. COM must be initialised on the thread.
class DriverQuery {
 public:
  /// Takes nothing from COM yet. Throws std::bad_alloc.
  DriverQuery();
  DriverQuery(const DriverQuery&) = delete;
  DriverQuery& operator=(const DriverQuery&) = delete;
  ~DriverQuery();

  /// Sets the whole process's security: default authentication, impersonation.
  [[nodiscard]] ComResult InitializeSecurity() noexcept;
  [[nodiscard]] ComResult CreateLocator() noexcept;
  [[nodiscard]] ComResult ConnectServer(const wchar_t* name_space) noexcept;
  [[nodiscard]] ComResult SetProxyBlanket() noexcept;
  /// Forward only, returning at once.
  [[nodiscard]] ComResult ExecQuery(const wchar_t* language, const wchar_t* query) noexcept;

  /// Lets the current row go and waits for the next. False when none came, for whatever reason.
  [[nodiscard]] bool NextRow() noexcept;

  /// Reads a property of the row into the query's one value. A read that fails leaves the value as
  /// it was.
  ComResult ReadProperty(const wchar_t* name) noexcept;

  /// The value's text, until the value changes; null when the value is not a string.
  [[nodiscard]] const wchar_t* text() const noexcept;

  void ClearValue() noexcept;

 private:
  struct Objects;
  std::unique_ptr<Objects> objects_;
};

}  // namespace zor::platform
