#include "simulator/json_tree.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace zor::sim {
namespace {

// Far beyond what a scenario needs; the tree is destroyed recursively.
constexpr std::size_t kMaxDepth = 64;

/// How far the parser has read: it has no positions of its own to offer.
struct Progress {
  int line = 1;
  char last = 0;
};

/// Walks through the text and keeps count. The parser copies it, so the count lies outside.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = char;

  CountingIterator(const char* at, Progress* progress) : at_(at), progress_(progress) {}

  char operator*() const { return *at_; }
  CountingIterator& operator++() {
    progress_->last = *at_;
    if (*at_ == '\n') ++progress_->line;
    ++at_;
    return *this;
  }
  // NOLINTNEXTLINE(cert-dcl21-cpp): an iterator's own signature
  CountingIterator operator++(int) {
    const CountingIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_;
  Progress* progress_;
};

/// Builds the tree from the parser's events.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  TreeBuilder(std::string_view text, const Progress& progress, JsonValue& root)
      : text_(text), progress_(progress), root_(root) {}

  bool null() override { return Add(JsonKind::kNull, progress_.line); }
  bool boolean(bool value) override {
    return Add(JsonKind::kBool, progress_.line, [=](JsonValue& added) { added.boolean = value; });
  }
  bool number_integer(number_integer_t value) override {
    return Add(JsonKind::kInteger, NumberLine(), [=](JsonValue& added) {
      added.integer = value;
      added.number = static_cast<double>(value);
    });
  }
  bool number_unsigned(number_unsigned_t value) override {
    if (value <= static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max())) {
      return number_integer(static_cast<number_integer_t>(value));
    }
    return number_float(static_cast<double>(value), {});
  }
  bool number_float(number_float_t value, const string_t& /*written*/) override {
    return Add(JsonKind::kNumber, NumberLine(), [=](JsonValue& added) { added.number = value; });
  }
  bool string(string_t& value) override {
    return Add(JsonKind::kString, progress_.line,
               [&value](JsonValue& added) { added.text = std::move(value); });
  }
  bool binary(binary_t& /*value*/) override { return false; }  // not in a text
  bool start_object(std::size_t /*elements*/) override { return Open(JsonKind::kObject); }
  bool key(string_t& value) override {
    key_ = std::move(value);
    key_line_ = progress_.line;
    return true;
  }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t /*elements*/) override { return Open(JsonKind::kArray); }
  bool end_array() override { return Close(); }
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::json::exception& error) override {
    // The parser counts the bytes that it has taken, the last of which is the wrong one.
    const std::string_view before = text_.substr(0, position == 0 ? 0 : position - 1);
    const auto line_start = before.rfind('\n') + 1;  // 0 when there is none
    error_.line = 1 + static_cast<int>(std::count(before.begin(), before.end(), '\n'));
    error_.column = 1 + static_cast<int>(before.size() - line_start);
    error_.message = Message(error.what());
    return false;
  }

  [[nodiscard]] const JsonError& error() const { return error_; }

 private:
  // "[json.exception...] parse error at line 1, column 2: what is wrong"
  static std::string Message(const std::string& text) {
    const auto column = text.find(", column ");
    const auto colon = text.find(": ", column == std::string::npos ? 0 : column);
    return colon == std::string::npos ? text : text.substr(colon + 2);
  }

  // A number ends where something else begins: the parser has read one character too many.
  [[nodiscard]] int NumberLine() const { return progress_.line - (progress_.last == '\n' ? 1 : 0); }

  bool Add(JsonKind kind, int line) {
    return Add(kind, line, [](JsonValue&) {});
  }

  template <typename Fill>
  bool Add(JsonKind kind, int line, Fill fill) {
    JsonValue* added = &root_;
    if (!open_.empty()) {
      JsonValue& parent = *open_.back();
      const bool in_object = parent.kind == JsonKind::kObject;
      JsonMember member{.line = in_object ? key_line_ : line};
      if (in_object) member.key = std::exchange(key_, {});
      parent.members.push_back(std::move(member));
      added = &parent.members.back().value;
    }
    added->kind = kind;
    added->line = line;
    fill(*added);
    last_ = added;
    return true;
  }

  // What is open stays where it is: only the innermost one grows.
  bool Open(JsonKind kind) {
    if (open_.size() == kMaxDepth) {
      error_ = {progress_.line, 0, "nested too deeply"};
      return false;
    }
    Add(kind, progress_.line);
    open_.push_back(last_);
    return true;
  }

  bool Close() {
    open_.pop_back();
    return true;
  }

  std::string_view text_;
  const Progress& progress_;
  JsonValue& root_;
  JsonValue* last_ = nullptr;
  std::vector<JsonValue*> open_;
  std::string key_;
  int key_line_ = 0;
  JsonError error_;
};

}  // namespace

const char* JsonKindName(JsonKind kind) {
  switch (kind) {
    case JsonKind::kNull:
      return "null";
    case JsonKind::kBool:
      return "true or false";
    case JsonKind::kInteger:
      return "an integer";
    case JsonKind::kNumber:
      return "a number";
    case JsonKind::kString:
      return "a string";
    case JsonKind::kArray:
      return "an array";
    case JsonKind::kObject:
      return "an object";
  }
  return "something else";
}

std::optional<JsonError> ParseJson(std::string_view text, JsonValue& root) {
  Progress progress;
  TreeBuilder builder(text, progress, root);
  const CountingIterator begin(text.data(), &progress);
  const CountingIterator end(text.data() + text.size(), &progress);
  if (nlohmann::json::sax_parse(begin, end, &builder, nlohmann::json::input_format_t::json,
                                /*strict=*/true, /*ignore_comments=*/true)) {
    return std::nullopt;
  }
  return builder.error();
}

}  // namespace zor::sim
