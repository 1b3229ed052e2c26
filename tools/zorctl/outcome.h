/// What a call brought.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "interface/zor.hpp"

namespace zor::ctl {

struct Information {
  std::array<std::uint32_t, 4> words{};
};

struct Handle {
  std::uint32_t value = 0;
};

struct ParameterValue {
  std::string name;
  float value = 0;
};

struct Status {
  std::uint32_t value = 0;
};

struct Block {
  std::string name;
  std::vector<std::uint8_t> bytes;
  std::optional<std::string> file;  ///< where the bytes have gone, or come from
};

using Payload =
    std::variant<std::monostate, Information, NameList, Handle, ParameterValue, Status, Block>;

struct Outcome {
  ZorResult result = ZOR_SUCCESS;
  Payload payload = {};    ///< of a call that failed: nothing
  bool timed_out = false;  ///< it failed because it was cancelled
};

}  // namespace zor::ctl
