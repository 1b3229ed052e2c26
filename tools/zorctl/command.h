/// What can be asked of zorctl, as plain data: the words of a command line, taken apart.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "interface/zor.hpp"

namespace zor::ctl {

struct InfoCall {};

struct ListCall {
  std::uint32_t selector = kAlgorithms;
};

/// A text that is absent is sent as a null pointer.
struct CreateCall {
  std::string name;
  std::optional<std::string> value;
};

struct ConfigCall {
  std::uint32_t handle = 0;
  std::string name;
  std::optional<std::string> value;
};

enum class Control : std::uint8_t { kStart, kStop, kDestroy };

struct ControlCall {
  Control control = Control::kStart;
  std::uint32_t handle = 0;
};

struct SetCall {
  std::uint32_t handle = 0;
  std::string name;
  float value = 0;
  bool no_list = false;  ///< do not fetch the list that an algorithm id is translated by
};

struct GetCall {
  std::uint32_t handle = 0;
  std::string name;
  bool no_list = false;
};

struct StatusCall {
  std::uint32_t handle = 0;
};

/// File names are UTF-8; "-" is standard input or output.
struct BlobSetCall {
  std::uint32_t handle = 0;
  std::string name;
  std::string file;                 ///< where `bytes` come from
  std::vector<std::uint8_t> bytes;  ///< read from the file before the call is made
};

struct BlobGetCall {
  std::uint32_t handle = 0;
  std::string name;
  std::optional<std::string> file;  ///< without one the bytes are shown
};

/// One remote call.
using Call = std::variant<InfoCall, ListCall, CreateCall, ConfigCall, ControlCall, SetCall, GetCall,
                          StatusCall, BlobSetCall, BlobGetCall>;

struct WatchCommand {
  std::uint32_t count = 0;       ///< 0: without end
  std::uint32_t timeout_ms = 0;  ///< 0: without end
};

struct LogCommand {
  bool all = false;
  bool global = false;  ///< the machine's debug output, not the session's
  std::vector<std::string> program;
};

/// File names are UTF-8.
struct DoctorCommand {
  std::string app;     ///< an application to look at, too; empty: none
  std::string bundle;  ///< a file to put the report into; empty: none
};
struct DemoCommand {
  std::uint32_t timeout_ms = 0;  ///< of each call; 0: without end
};

/// Numbers and names in the order in which they were given.
struct SnapshotCommand {
  std::vector<std::uint32_t> selectors;
  std::vector<std::uint32_t> instances;
  std::vector<std::string> parameters;
  std::uint32_t timeout_ms = 5000;  ///< of each call
};

struct BatchCommand {
  std::string file;
  std::uint32_t repeat = 1;
  bool keep_going = false;
  bool progress = false;         ///< also when nobody looks on
  std::uint32_t timeout_ms = 0;  ///< of each call; 0: without end
};

using Command = std::variant<Call, WatchCommand, LogCommand, DoctorCommand, DemoCommand,
                             SnapshotCommand, BatchCommand>;

/// The word that asks for this call: "info", "blob get".
[[nodiscard]] std::string_view CommandName(const Call& call);

/// The function that makes this call: "ZorIntfGetInfo".
[[nodiscard]] std::string_view ExportName(const Call& call);

}  // namespace zor::ctl
