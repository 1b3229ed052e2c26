/// JSON with the line of each value, so that what is wrong with one can be pointed at.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::sim {

enum class JsonKind : std::uint8_t { kNull, kBool, kInteger, kNumber, kString, kArray, kObject };

/// As in "expected a string, found an array".
[[nodiscard]] const char* JsonKindName(JsonKind kind);

struct JsonMember;

struct JsonValue {
  JsonKind kind = JsonKind::kNull;
  int line = 0;
  bool boolean = false;
  std::int64_t integer = 0;
  double number = 0;  ///< also of an integer
  std::string text;
  std::vector<JsonMember> members;  ///< of an object; of an array, with empty keys
};

struct JsonMember {
  std::string key = {};
  int line = 0;  ///< of the key
  JsonValue value = {};
};

struct JsonError {
  int line = 0;
  int column = 0;
  std::string message = {};
};

/// Reads a whole text, in which comments are allowed (`//` and `/* */`). Integers that do not fit
/// 64 bits with a sign are numbers like any other.
[[nodiscard]] std::optional<JsonError> ParseJson(std::string_view text, JsonValue& root);

}  // namespace zor::sim
