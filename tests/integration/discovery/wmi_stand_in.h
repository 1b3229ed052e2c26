/// A management service of the test's own: real COM objects that the process gets instead of the
/// system's.
#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zor::testing {

/// What the service answers, by number; its own enumeration is of another type.
inline constexpr auto kWmiFailed = static_cast<HRESULT>(0x80041001);
inline constexpr auto kWmiNotFound = static_cast<HRESULT>(0x80041002);
inline constexpr auto kWmiAccessDenied = static_cast<HRESULT>(0x80041003);

/// A property as it answers a read.
struct WmiProperty {
  /// Null is a number.
  std::optional<std::wstring> text = std::nullopt;
  HRESULT result = S_OK;
  /// Whether a read stores anything.
  bool stores = true;
};

/// By name; a read of any other property fails and stores nothing.
using WmiRow = std::map<std::wstring, WmiProperty>;

/// Stands in for the locator's class in this process while it lives. COM must be initialised.
class WmiStandIn {
 public:
  WmiStandIn();
  WmiStandIn(const WmiStandIn&) = delete;
  WmiStandIn& operator=(const WmiStandIn&) = delete;
  ~WmiStandIn();

  std::vector<WmiRow> rows;

  // What the steps answer. With a success, their outputs are there.
  HRESULT create_locator = S_OK;
  HRESULT connect_server = S_OK;
  HRESULT set_blanket = S_OK;
  HRESULT exec_query = S_OK;
  HRESULT next = S_OK;

  /// Runs while the service answers a query.
  std::function<void()> while_querying = [] {};

  /// What was called, with its arguments.
  std::vector<std::wstring> calls;
  /// Objects that were made and not released.
  int live_objects = 0;

 private:
  DWORD registration_ = 0;
};

}  // namespace zor::testing
