#include "simulator/trace_line.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <string_view>

#include "messages/reply.h"
#include "zor_messages_generated.h"

namespace zor::sim {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxHexBytes = 1024;

std::string Hex(std::span<const std::uint8_t> bytes) {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kMaxHexBytes))) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0xFU];
  }
  if (bytes.size() > kMaxHexBytes) text += "...";
  return text;
}

void AddText(Json& to, const char* key, const flatbuffers::String* text) {
  if (text != nullptr) to[key] = text->str();
}

Json Describe(const messages::ServerInfo& info) {
  return Json::array({info.info0(), info.info1(), info.info2(), info.info3()});
}

Json Describe(const messages::EnumResult& list) {
  Json described = {{"count", list.count()}};
  if (list.names() != nullptr) {
    Json& names = described["names"] = Json::array();
    for (const auto* name : *list.names()) names.push_back(name->str());
  }
  return described;
}

Json Describe(const messages::TextParam& param) {
  Json described = Json::object();
  AddText(described, "name", param.name());
  AddText(described, "value", param.value());
  return described;
}

Json Describe(const messages::FloatParam& param) {
  Json described = Json::object();
  AddText(described, "name", param.name());
  described["value"] = param.value();
  return described;
}

Json Describe(const messages::BlobParam& blob) {
  Json described = Json::object();
  AddText(described, "name", blob.name());
  described["size"] = blob.size();
  if (blob.data() != nullptr) described["data"] = Hex({blob.data()->data(), blob.data()->size()});
  return described;
}

Json Describe(const messages::NotifyEvent& event) {
  Json described = {{"event_type", event.event_type()}, {"payload_type", event.payload_type()}};
  if (const auto* flag = event.payload_as_BoolPayload()) {
    described["value"] = flag->value();
  } else if (const auto* word = event.payload_as_WordPayload()) {
    described["value"] = word->value();
  } else if (const auto* byte = event.payload_as_BytePayload()) {
    described["value"] = byte->value();
  } else if (const auto* word2 = event.payload_as_Word2Payload()) {
    described["value"] = word2->value();
  } else if (const auto* byte_text = event.payload_as_ByteTextPayload()) {
    described["value"] = byte_text->value();
    AddText(described, "text", byte_text->text());
  } else if (const auto* word_text = event.payload_as_WordTextPayload()) {
    described["value"] = word_text->value();
    AddText(described, "text", word_text->text());
  }
  return described;
}

/// Absent fields are left out, those at their default are absent.
Json Describe(const messages::CallMessage& message) {
  Json described = Json::object();
  AddText(described, "func_name", message.func_name());
  if (message.handle() != 0) described["handle"] = message.handle();
  if (message.result() != 0) described["result"] = message.result();
  if (message.status() != 0) described["status"] = message.status();
  if (message.enum_type() != 0) described["enum_type"] = message.enum_type();
  const auto add = [&described](const char* key, const auto* member) {
    if (member != nullptr) described[key] = Describe(*member);
  };
  add("server_info", message.server_info());
  add("enum_result", message.enum_result());
  add("text_param", message.text_param());
  add("float_param", message.float_param());
  add("event", message.event());
  add("blob_param", message.blob_param());
  add("blob_result", message.blob_result());
  return described;
}

const char* KindName(TraceKind kind) {
  static constexpr std::array kNames = {"connected", "in", "out", "disconnected"};
  return kNames[static_cast<std::size_t>(kind)];
}

}  // namespace

std::string TraceLine(const TraceRecord& record) {
  Json line = {
      {"ms", static_cast<double>(record.time.count()) / 1000},
      {"client", record.client},
      {"pipe", record.pipe == PipeKind::kRequest ? "request" : "notify"},
      {"direction", KindName(record.kind)},
  };
  if (record.kind == TraceKind::kReceived || record.kind == TraceKind::kSent) {
    line["size"] = record.size;
    const bool whole = record.size == record.bytes.size();
    const auto* message = whole ? messages::CheckReply(record.bytes) : nullptr;
    if (message != nullptr) {
      line["message"] = Describe(*message);
    } else {
      line["hex"] = Hex(record.bytes);
    }
  }
  // Texts are 8-bit strings of any encoding: what is not UTF-8 is replaced.
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace zor::sim
