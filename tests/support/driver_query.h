/// The scripted management service: platform/driver_query.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/driver_query.h"

namespace zor::scripted {

/// A property of a row, as it answers a read.
struct Property {
  /// Null is a value that is no string.
  std::optional<std::wstring> text = {};
  platform::ComResult result = 0;
  /// Whether a read stores anything.
  bool stores = true;
};

/// The rows' properties by name; a read of any other fails and stores nothing.
using DriverRow = std::map<std::wstring, Property>;

struct Drivers {
  /// The steps' results by their name, "ExecQuery"; 0 for any other.
  std::map<std::wstring, platform::ComResult> results;
  std::vector<DriverRow> rows;
  /// The calls in order: "ExecQuery WQL SELECT".
  std::vector<std::wstring> calls;
  int open_queries = 0;
};

[[nodiscard]] Drivers& TheDrivers();

}  // namespace zor::scripted
