/// Taking checked values out of a JSON tree: each thing that is wrong becomes one error with its
/// line and its key, and reading goes on.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/json_tree.h"

namespace zor::sim {

/// What is wrong, and where: `path` is like "faults[0].call".
struct JsonComplaint {
  int line = 0;
  std::string path = {};
  std::string message = {};
};

using JsonComplaints = std::vector<JsonComplaint>;

/// One value, with its path.
class JsonNode {
 public:
  JsonNode(const JsonValue& value, std::string path, JsonComplaints& complaints)
      : value_(&value), path_(std::move(path)), complaints_(&complaints) {}

  [[nodiscard]] const JsonValue& value() const { return *value_; }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] JsonComplaints& complaints() const { return *complaints_; }

  void Complain(std::string message) const;

  // Each leaves `out` as it is when it complains, and then returns false.
  bool Read(bool& out) const;
  bool Read(float& out) const;
  bool Read(std::string& out) const;
  bool Read(std::uint32_t& out, std::uint32_t min, std::uint32_t max) const;
  bool ReadHex(std::vector<std::uint8_t>& out) const;
  /// Complains about anything but the word true: for a key whose presence is what counts.
  void ReadTrue() const;

  /// The elements of an array; none, and a complaint, when it is something else.
  [[nodiscard]] std::vector<JsonNode> Elements() const;

 private:
  [[nodiscard]] bool Expect(JsonKind kind) const;

  const JsonValue* value_;
  std::string path_;
  JsonComplaints* complaints_;
};

/// An object whose keys are asked for by name. Finish() complains about those that nobody asked
/// for.
class JsonObject {
 public:
  explicit JsonObject(const JsonNode& node);

  /// False if the value is not an object. An error has then been reported.
  [[nodiscard]] bool ok() const { return ok_; }
  [[nodiscard]] const JsonNode& node() const { return node_; }

  /// The key's value; empty when it is absent, or when the key is the empty one.
  [[nodiscard]] std::vector<JsonNode> Find(std::string_view key);
  /// All members, for an object whose keys are free.
  struct Member {
    std::string key;
    JsonNode node;
  };
  [[nodiscard]] std::vector<Member> All();

  /// Reads the key's value if it is there; true when it was, and was right.
  template <typename Out, typename... Bounds>
  bool Read(std::string_view key, Out& out, Bounds... bounds) {
    for (const JsonNode& found : Find(key)) return found.Read(out, bounds...);
    return false;
  }

  /// Complains when the key is absent.
  void Require(std::string_view key);

  /// The one of these keys that is there; empty when there is none. Complains about a second one.
  [[nodiscard]] std::string_view OneOf(const std::vector<std::string_view>& keys);

  void Finish();

 private:
  [[nodiscard]] JsonNode NodeOf(const JsonMember& member) const;

  JsonNode node_;
  bool ok_;
  std::vector<std::string> known_;
};

/// `a, b, c`, each in double quotes.
[[nodiscard]] std::string Quoted(const std::vector<std::string_view>& names);
[[nodiscard]] std::string Quoted(std::string_view name);

}  // namespace zor::sim
