#include "tools/zorctl/doctor/facts_json.h"

#include <concepts>
#include <type_traits>

namespace zor::ctl {
namespace {

// The members of each record, named once for both directions. How a child process ended is what its
// parent sees, so it is none of them.

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, SystemError>
void Members(Archive& archive, Facts& facts) {
  archive("number", facts.number);
  archive("text", facts.text);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, MissingImport>
void Members(Archive& archive, Facts& facts) {
  archive("name", facts.name);
  archive("needed_by", facts.needed_by);
  archive("reason", facts.reason);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, ImageFacts>
void Members(Archive& archive, Facts& facts) {
  archive("state", facts.state);
  archive("error", facts.error);
  archive("machine", facts.machine);
  archive("missing", facts.missing);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, LibraryFacts>
void Members(Archive& archive, Facts& facts) {
  archive("path", facts.path);
  archive("version", facts.version);
  archive("error", facts.error);
  archive("missing", facts.missing);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, PipeFacts>
void Members(Archive& archive, Facts& facts) {
  archive("state", facts.state);
  archive("error", facts.error);
  archive("is_open", facts.is_open);
  archive("messages", facts.messages);
  archive("process", facts.process);
  archive("session", facts.session);
  archive("image", facts.image);
  archive("user", facts.user);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, ExchangeFacts>
void Members(Archive& archive, Facts& facts) {
  archive("state", facts.state);
  archive("error", facts.error);
  archive("milliseconds", facts.milliseconds);
  archive("size", facts.size);
  archive("start", facts.start);
  archive("valid", facts.valid);
  archive("result", facts.result);
  archive("information", facts.information);
  archive("count", facts.count);
  archive("names", facts.names);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, CallFacts>
void Members(Archive& archive, Facts& facts) {
  archive("result", facts.result);
  archive("exception", facts.exception);
  archive("milliseconds", facts.milliseconds);
  archive("names", facts.names);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, DriverFacts>
void Members(Archive& archive, Facts& facts) {
  archive("failed", facts.failed);
  archive("result", facts.result);
  archive("result_text", facts.result_text);
  archive("rows", facts.rows);
  archive("version_text", facts.version_text);
  archive("version", facts.version);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, StoreFacts>
void Members(Archive& archive, Facts& facts) {
  archive("directory", facts.directory);
  archive("error", facts.error);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, CandidateFacts>
void Members(Archive& archive, Facts& facts) {
  archive("folder", facts.folder);
  archive("examined", facts.examined);
  archive("inf", facts.inf);
  archive("opened", facts.opened);
  archive("is_utf16", facts.is_utf16);
  archive("version_line", facts.version_line);
  archive("version", facts.version);
  archive("error", facts.error);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, PackageFacts>
void Members(Archive& archive, Facts& facts) {
  archive("path", facts.path);
  archive("exact", facts.exact);
  archive("error", facts.error);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, StoreSearch>
void Members(Archive& archive, Facts& facts) {
  archive("store", facts.store);
  archive("candidates", facts.candidates);
  archive("package", facts.package);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, LibraryQuery>
void Members(Archive& archive, Facts& facts) {
  archive("failed", facts.failed);
  archive("error", facts.error);
  archive("answer", facts.answer);
  archive("algorithm_id", facts.algorithm_id);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, AlgorithmLibraryFacts>
void Members(Archive& archive, Facts& facts) {
  archive("file", facts.file);
  archive("query", facts.query);
  archive("error_text", facts.error_text);
  archive("names", facts.names);
  archive("stands_for", facts.stands_for);
}

template <typename Archive, typename Facts>
requires std::same_as<std::remove_const_t<Facts>, PackageContents>
void Members(Archive& archive, Facts& facts) {
  archive("libraries", facts.libraries);
  archive("error", facts.error);
}

class Writer {
 public:
  template <typename Value>
  void operator()(const char* name, const Value& value) {
    json_[name] = Write(value);
  }

  [[nodiscard]] Json Take() { return std::move(json_); }

 private:
  template <typename Value>
  static Json Write(const Value& value) {
    if constexpr (std::is_enum_v<Value>) {
      return static_cast<std::uint32_t>(value);
    } else if constexpr (std::convertible_to<Value, Json>) {
      return Json(value);
    } else {
      Writer writer;
      Members(writer, value);
      return writer.Take();
    }
  }
  template <typename Value>
  static Json Write(const std::optional<Value>& value) {
    return value ? Write(*value) : Json();
  }
  template <typename Value>
  static Json Write(const std::vector<Value>& values) {
    Json json = Json::array();
    for (const Value& value : values) json.push_back(Write(value));
    return json;
  }

  Json json_ = Json::object();
};

class Reader {
 public:
  explicit Reader(const Json& json) : json_(json) {}

  template <typename Value>
  void operator()(const char* name, Value& value) {
    const auto found = json_.find(name);
    if (found != json_.end()) Read(*found, value);
  }

 private:
  template <typename Value>
  static void Read(const Json& json, Value& value) {
    if constexpr (std::is_enum_v<Value>) {
      if (json.is_number_unsigned()) value = static_cast<Value>(json.get<std::uint32_t>());
    } else if constexpr (std::is_same_v<Value, bool>) {
      if (json.is_boolean()) value = json.get<bool>();
    } else if constexpr (std::is_arithmetic_v<Value>) {
      if (json.is_number()) value = json.get<Value>();
    } else if constexpr (std::is_same_v<Value, std::string>) {
      if (json.is_string()) value = json.get<std::string>();
    } else {
      Reader reader(json);
      Members(reader, value);
    }
  }
  template <typename Value, std::size_t size>
  static void Read(const Json& json, std::array<Value, size>& values) {
    for (std::size_t i = 0; i < size && i < json.size(); ++i) Read(json[i], values[i]);
  }
  template <typename Value>
  static void Read(const Json& json, std::optional<Value>& value) {
    if (json.is_null()) return;
    Read(json, value.emplace());
  }
  template <typename Value>
  static void Read(const Json& json, std::vector<Value>& values) {
    for (const Json& element : json) Read(element, values.emplace_back());
  }

  const Json& json_;
};

template <typename Facts>
Json Write(const Facts& facts) {
  Writer writer;
  Members(writer, facts);
  return writer.Take();
}

template <typename Facts>
void Read(const Json& json, Facts& facts) {
  if (!json.is_object()) return;
  Reader reader(json);
  Members(reader, facts);
}

}  // namespace

Json ToJson(const ImageFacts& facts) { return Write(facts); }
Json ToJson(const LibraryFacts& facts) { return Write(facts); }
Json ToJson(const PipeFacts& facts) { return Write(facts); }
Json ToJson(const ExchangeFacts& facts) { return Write(facts); }
Json ToJson(const CallFacts& facts) { return Write(facts); }
Json ToJson(const DriverFacts& facts) { return Write(facts); }
Json ToJson(const StoreSearch& search) { return Write(search); }
Json ToJson(const PackageContents& contents) { return Write(contents); }
Json ToJson(const AlgorithmLibraryFacts& facts) { return Write(facts); }

void FromJson(const Json& json, ImageFacts& facts) { Read(json, facts); }
void FromJson(const Json& json, LibraryFacts& facts) { Read(json, facts); }
void FromJson(const Json& json, PipeFacts& facts) { Read(json, facts); }
void FromJson(const Json& json, ExchangeFacts& facts) { Read(json, facts); }
void FromJson(const Json& json, CallFacts& facts) { Read(json, facts); }
void FromJson(const Json& json, DriverFacts& facts) { Read(json, facts); }
void FromJson(const Json& json, StoreSearch& search) { Read(json, search); }
void FromJson(const Json& json, PackageContents& contents) { Read(json, contents); }
void FromJson(const Json& json, AlgorithmLibraryFacts& facts) { Read(json, facts); }

}  // namespace zor::ctl
