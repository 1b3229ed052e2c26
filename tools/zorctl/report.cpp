#include "tools/zorctl/report.h"

#include <fmt/core.h>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <iterator>

#include "tools/zorctl/explain.h"
#include "tools/zorctl/printable.h"
#include "tools/zorctl/table.h"

namespace zor::ctl {
namespace {

constexpr std::size_t kDumpWidth = 16;

struct TextOf {
  std::string operator()(const std::monostate& /*none*/) const { return {}; }
  std::string operator()(const Information& information) const {
    Table table({"WORD", "VALUE", "HEX"});
    for (std::size_t i = 0; i < information.words.size(); ++i) {
      const auto word = information.words[i];
      table.Add({fmt::format("info{}", i), fmt::format("{}", word), fmt::format("0x{:08X}", word)});
    }
    return table.ToText();
  }
  std::string operator()(const NameList& names) const {
    Table table({"ID", "NAME"});
    for (std::size_t i = 0; i < names.size(); ++i) {
      table.Add({fmt::format("{}", i), names[i] ? Printable(*names[i]) : "(not present here)"});
    }
    return table.ToText();
  }
  std::string operator()(const Handle& handle) const { return fmt::format("{}\n", handle.value); }
  std::string operator()(const ParameterValue& parameter) const {
    return fmt::format("{}\n", parameter.value);
  }
  std::string operator()(const Status& status) const { return fmt::format("{}\n", status.value); }
  std::string operator()(const Block& block) const {
    return block.file ? std::string() : HexDump(block.bytes);
  }
};

struct AddTo {
  Json& json;

  void operator()(const std::monostate& /*none*/) const {}
  void operator()(const Information& information) const { json["info"] = information.words; }
  void operator()(const NameList& names) const {
    Json array = Json::array();
    for (const auto& name : names) array.push_back(name ? Json(*name) : Json());
    json["names"] = std::move(array);
  }
  void operator()(const Handle& handle) const { json["handle"] = handle.value; }
  void operator()(const ParameterValue& parameter) const {
    json["name"] = parameter.name;
    json["value"] = ToNumber(parameter.value);
  }
  void operator()(const Status& status) const { json["status"] = status.value; }
  void operator()(const Block& block) const {
    json["name"] = block.name;
    json["size"] = block.bytes.size();
    if (block.file) {
      json["file"] = *block.file;
    } else {
      json["bytes"] = block.bytes;
    }
  }
};

}  // namespace

std::string ToText(const Outcome& outcome) { return std::visit(TextOf{}, outcome.payload); }

Json ToJson(const Call& call, const Outcome& outcome) {
  const Explanation explanation = Explain(call, outcome);
  Json json;
  json["command"] = CommandName(call);
  json["export"] = ExportName(call);
  json["result"] = outcome.result;
  if (outcome.timed_out) json["timed_out"] = true;
  json["meaning"] = explanation.meaning;
  if (!explanation.advice.empty()) json["advice"] = explanation.advice;
  std::visit(AddTo{json}, outcome.payload);
  return json;
}

std::string FailureText(const Call& call, const Outcome& outcome) {
  const Explanation explanation = Explain(call, outcome);
  return fmt::format("{}: {} returned {}: {}.\nWhat to do: {}.", CommandName(call),
                     ExportName(call), outcome.result, explanation.meaning, explanation.advice);
}

std::string ToLine(const Json& json) {
  return PrintableJson(json.dump(-1, ' ', false, Json::error_handler_t::replace)) + '\n';
}

std::string ToDocument(const Json& json) {
  return PrintableJson(json.dump(2, ' ', false, Json::error_handler_t::replace)) + '\n';
}

Json ToNumber(float value) {
  const std::string text = fmt::format("{}", value);
  return std::isfinite(value) ? Json::parse(text) : Json(text);
}

std::string HexDump(std::span<const std::uint8_t> bytes) {
  std::string dump;
  for (std::size_t offset = 0; offset < bytes.size(); offset += kDumpWidth) {
    const auto row = bytes.subspan(offset, std::min(kDumpWidth, bytes.size() - offset));
    std::string hex;
    std::string characters;
    for (const std::uint8_t byte : row) {
      fmt::format_to(std::back_inserter(hex), " {:02x}", byte);
      const bool printable = byte >= 0x20 && byte < 0x7F;
      characters += printable ? static_cast<char>(byte) : '.';
    }
    fmt::format_to(std::back_inserter(dump), "{:08x} {:<48}  |{}|\n", offset, hex, characters);
  }
  return dump;
}

}  // namespace zor::ctl
