#include "tests/kit/messages.h"

#include <stdexcept>
#include <utility>

namespace zor::testing {
namespace {

using flatbuffers::FlatBufferBuilder;
using messages::EventPayload;

const char* TextOrNull(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

flatbuffers::Offset<void> BuildPayload(FlatBufferBuilder& builder, EventPayload member,
                                       const Notification& from) {
  const auto byte = static_cast<std::uint8_t>(from.value);
  switch (member) {
    case EventPayload::EventPayload_BoolPayload:
      return messages::CreateBoolPayload(builder, from.value != 0).Union();
    case EventPayload::EventPayload_WordPayload:
      return messages::CreateWordPayload(builder, from.value).Union();
    case EventPayload::EventPayload_BytePayload:
      return messages::CreateBytePayload(builder, byte).Union();
    case EventPayload::EventPayload_Word2Payload:
      return messages::CreateWord2Payload(builder, from.value).Union();
    case EventPayload::EventPayload_ByteTextPayload:
      return messages::CreateByteTextPayloadDirect(builder, byte, TextOrNull(from.text)).Union();
    case EventPayload::EventPayload_WordTextPayload:
      return messages::CreateWordTextPayloadDirect(builder, from.value, TextOrNull(from.text))
          .Union();
    default:
      return 0;
  }
}

}  // namespace

Bytes Build(const Reply& reply) {
  return BuildMessage([&](FlatBufferBuilder& builder) {
    builder.ForceDefaults(reply.with_defaults);
    flatbuffers::Offset<flatbuffers::String> func_name;
    if (reply.func_name) func_name = builder.CreateString(*reply.func_name);

    flatbuffers::Offset<messages::EnumResult> names;
    if (reply.enum_result) {
      flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<flatbuffers::String>>> vector;
      if (reply.enum_result->names) {
        vector = builder.CreateVectorOfStrings(*reply.enum_result->names);
      }
      names = messages::CreateEnumResult(builder, reply.enum_result->count, vector);
    }
    flatbuffers::Offset<messages::FloatParam> param;
    if (reply.float_param) {
      param = messages::CreateFloatParamDirect(builder, "gain", *reply.float_param);
    }
    flatbuffers::Offset<messages::BlobParam> block;
    if (reply.blob_result) {
      const auto& given = *reply.blob_result;
      block = messages::CreateBlobParamDirect(builder, TextOrNull(given.name), given.size,
                                              given.data ? &*given.data : nullptr);
    }
    return messages::CreateCallMessage(
        builder, func_name, reply.server_info ? &*reply.server_info : nullptr, names,
        /*text_param=*/0, param, /*enum_type=*/0, reply.status, /*event=*/0, reply.handle,
        reply.result, /*blob_param=*/0, block);
  });
}

Reply ListOf(std::vector<std::string> names) {
  const auto count = static_cast<std::uint32_t>(names.size());
  return {.enum_result = Reply::Names{count, std::move(names)}};
}

Reply FullReply(std::uint32_t result) {
  return {.server_info = messages::ServerInfo(1, 2, 3, 4),
          .enum_result = Reply::Names{1, {{"general"}}},
          .float_param = 2.5F,
          .status = 255,
          .handle = 77,
          .result = result,
          .blob_result = Reply::Block{"preset", 3, Bytes{1, 2, 3}}};
}

Bytes Build(const Notification& notification) {
  return BuildMessage([&](FlatBufferBuilder& builder) {
    const int own = notification.type <= 5 ? notification.type + 1 : 0;
    const auto member = static_cast<EventPayload>(notification.member.value_or(own));
    const auto payload = BuildPayload(builder, member, notification);
    const auto event = messages::CreateNotifyEvent(builder, notification.type, member, payload);
    return messages::CreateCallMessageDirect(builder, notification.func_name.c_str(), nullptr, 0, 0,
                                             0, 0, 0, event);
  });
}

Bytes Padded(Bytes message, std::size_t size) {
  if (message.size() > size) throw std::invalid_argument("the message is longer than that");
  message.resize(size);
  return message;
}

Request::Request(Bytes bytes) : bytes_(std::move(bytes)), root_(nullptr) {
  flatbuffers::Verifier verifier(bytes_.data(), bytes_.size());
  if (!messages::VerifyCallMessageBuffer(verifier)) {
    throw std::runtime_error("the request is not a valid message");
  }
  root_ = messages::GetCallMessage(bytes_.data());
}

std::vector<int> Request::FieldsOfTable(const flatbuffers::Table* table) {
  const std::uint8_t* vtable = table->GetVTable();
  const auto size = flatbuffers::ReadScalar<flatbuffers::voffset_t>(vtable);
  std::vector<int> fields;
  for (flatbuffers::voffset_t field = 4; field < size;
       field = static_cast<flatbuffers::voffset_t>(field + sizeof(field))) {
    if (table->CheckField(field)) fields.push_back(field);
  }
  return fields;
}

}  // namespace zor::testing
