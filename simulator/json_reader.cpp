#include "simulator/json_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <utility>

namespace zor::sim {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string Join(const std::string& path, std::string_view key) {
  return path.empty() ? std::string(key) : path + "." + std::string(key);
}

}  // namespace

void JsonNode::Complain(std::string message) const {
  complaints_->push_back({value_->line, path_, std::move(message)});
}

bool JsonNode::Expect(JsonKind kind) const {
  const bool integer_for_number = kind == JsonKind::kNumber && value_->kind == JsonKind::kInteger;
  if (value_->kind == kind || integer_for_number) return true;
  Complain(std::string("expected ") + JsonKindName(kind) + ", found " + JsonKindName(value_->kind));
  return false;
}

bool JsonNode::Read(bool& out) const {
  if (!Expect(JsonKind::kBool)) return false;
  out = value_->boolean;
  return true;
}

bool JsonNode::Read(float& out) const {
  if (!Expect(JsonKind::kNumber)) return false;
  if (std::abs(value_->number) > static_cast<double>(std::numeric_limits<float>::max())) {
    Complain("does not fit a 32-bit float");
    return false;
  }
  out = static_cast<float>(value_->number);
  return true;
}

bool JsonNode::Read(std::string& out) const {
  if (!Expect(JsonKind::kString)) return false;
  if (value_->text.find('\0') != std::string::npos) {
    Complain("must not contain a NUL character, which would end it on the way to an application");
    return false;
  }
  out = value_->text;
  return true;
}

bool JsonNode::Read(std::uint32_t& out, std::uint32_t min, std::uint32_t max) const {
  // A number too large for an integer is out of range, not of the wrong type.
  const bool huge = value_->kind == JsonKind::kNumber && std::abs(value_->number) > 9e18;
  if (!huge && !Expect(JsonKind::kInteger)) return false;
  if (huge || value_->integer < min || value_->integer > max) {
    Complain("must be " + std::to_string(min) + " to " + std::to_string(max));
    return false;
  }
  out = static_cast<std::uint32_t>(value_->integer);
  return true;
}

bool JsonNode::ReadHex(std::vector<std::uint8_t>& out) const {
  if (!Expect(JsonKind::kString)) return false;
  std::vector<std::uint8_t> bytes;
  int high = -1;
  for (const char c : value_->text) {
    if (c == ' ' && high < 0) continue;
    const int digit = HexDigit(c);
    if (digit < 0) {
      high = 0;  // complained about below
      break;
    }
    if (high < 0) {
      high = digit;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(high * 16 + digit));
      high = -1;
    }
  }
  if (high >= 0) {
    Complain("expected bytes of two hexadecimal digits each, with or without blanks between them");
    return false;
  }
  out = std::move(bytes);
  return true;
}

void JsonNode::ReadTrue() const {
  if (value_->kind == JsonKind::kBool && value_->boolean) return;
  Complain("can only be true; leave the key out otherwise");
}

std::vector<JsonNode> JsonNode::Elements() const {
  std::vector<JsonNode> elements;
  if (!Expect(JsonKind::kArray)) return elements;
  for (std::size_t i = 0; i < value_->members.size(); ++i) {
    elements.emplace_back(value_->members[i].value, path_ + "[" + std::to_string(i) + "]",
                          *complaints_);
  }
  return elements;
}

JsonObject::JsonObject(const JsonNode& node)
    : node_(node), ok_(node.value().kind == JsonKind::kObject) {
  if (!ok_) {
    node_.Complain(std::string("expected an object, found ") + JsonKindName(node.value().kind));
    return;
  }
  std::set<std::string_view> keys;
  for (const JsonMember& member : node.value().members) {
    if (keys.insert(member.key).second) continue;
    node_.complaints().push_back(
        {member.line, Join(node_.path(), member.key), "this key was given before"});
  }
}

JsonNode JsonObject::NodeOf(const JsonMember& member) const {
  return {member.value, Join(node_.path(), member.key), node_.complaints()};
}

std::vector<JsonNode> JsonObject::Find(std::string_view key) {
  if (key.empty() || !ok_) return {};
  known_.emplace_back(key);
  const auto& members = node_.value().members;
  const auto found = std::ranges::find(members, key, &JsonMember::key);
  if (found == members.end()) return {};
  return {NodeOf(*found)};
}

std::vector<JsonObject::Member> JsonObject::All() {
  std::vector<Member> all;
  if (!ok_) return all;
  for (const JsonMember& member : node_.value().members) {
    known_.push_back(member.key);
    all.push_back({member.key, NodeOf(member)});
  }
  return all;
}

void JsonObject::Require(std::string_view key) {
  if (ok_ && Find(key).empty()) node_.Complain("the key " + Quoted(key) + " is missing");
}

std::string_view JsonObject::OneOf(const std::vector<std::string_view>& keys) {
  std::string_view one;
  for (const std::string_view key : keys) {
    const auto found = Find(key);
    if (found.empty()) continue;
    if (one.empty()) {
      one = key;
    } else {
      found.front().Complain("cannot stand beside " + Quoted(one));
    }
  }
  return one;
}

void JsonObject::Finish() {
  if (!ok_) return;
  std::vector<std::string_view> expected;
  for (const std::string& key : known_) {
    if (std::ranges::find(expected, key) == expected.end()) expected.push_back(key);
  }
  for (const JsonMember& member : node_.value().members) {
    if (std::ranges::find(known_, member.key) != known_.end()) continue;
    node_.complaints().push_back({member.line, Join(node_.path(), member.key),
                                  "unknown key; expected one of " + Quoted(expected)});
  }
}

std::string Quoted(const std::vector<std::string_view>& names) {
  std::string text;
  for (const std::string_view name : names) {
    if (!text.empty()) text += ", ";
    text += Quoted(name);
  }
  return text;
}

std::string Quoted(std::string_view name) { return "\"" + std::string(name) + "\""; }

}  // namespace zor::sim
