#include "tests/integration/support/wire.h"

#include <stdexcept>

namespace zor::testing {
namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;
using messages::CallMessageBuilder;
using messages::EventPayload;

Bytes Finish(FlatBufferBuilder& builder, Offset<messages::CallMessage> root) {
  builder.Finish(root);
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

Offset<messages::BlobParam> Blob(FlatBufferBuilder& builder, const char* name, std::uint32_t size,
                                 const std::optional<Bytes>& data) {
  return messages::CreateBlobParamDirect(builder, name, size, data ? &*data : nullptr);
}

Offset<messages::EnumResult> Names(FlatBufferBuilder& builder, std::uint32_t count,
                                   const std::vector<std::string>& names) {
  return messages::CreateEnumResult(builder, count, builder.CreateVectorOfStrings(names));
}

Offset<void> Payload(FlatBufferBuilder& builder, EventPayload member, const Notice& notice) {
  const auto byte = static_cast<std::uint8_t>(notice.value);
  switch (member) {
    case EventPayload::EventPayload_BoolPayload:
      return messages::CreateBoolPayload(builder, notice.value != 0).Union();
    case EventPayload::EventPayload_WordPayload:
      return messages::CreateWordPayload(builder, notice.value).Union();
    case EventPayload::EventPayload_BytePayload:
      return messages::CreateBytePayload(builder, byte).Union();
    case EventPayload::EventPayload_Word2Payload:
      return messages::CreateWord2Payload(builder, notice.value).Union();
    case EventPayload::EventPayload_ByteTextPayload:
      return messages::CreateByteTextPayloadDirect(builder, byte, notice.text).Union();
    case EventPayload::EventPayload_WordTextPayload:
      return messages::CreateWordTextPayloadDirect(builder, notice.value, notice.text).Union();
    default:
      return 0;
  }
}

}  // namespace

Bytes SuccessReply() { return ResultReply(0); }

Bytes ResultReply(std::uint32_t result) {
  FlatBufferBuilder builder;
  CallMessageBuilder reply(builder);
  reply.add_result(result);
  return Finish(builder, reply.Finish());
}

Bytes InfoReply(std::uint32_t info0, std::uint32_t info1, std::uint32_t info2,
                std::uint32_t info3) {
  FlatBufferBuilder builder;
  const messages::ServerInfo info(info0, info1, info2, info3);
  CallMessageBuilder reply(builder);
  reply.add_server_info(&info);
  return Finish(builder, reply.Finish());
}

Bytes HandleReply(std::uint32_t handle) {
  FlatBufferBuilder builder;
  CallMessageBuilder reply(builder);
  reply.add_handle(handle);
  return Finish(builder, reply.Finish());
}

Bytes StatusReply(std::uint8_t status) {
  FlatBufferBuilder builder;
  CallMessageBuilder reply(builder);
  reply.add_status(status);
  return Finish(builder, reply.Finish());
}

Bytes FloatReply(float value) {
  FlatBufferBuilder builder;
  const auto param = messages::CreateFloatParamDirect(builder, nullptr, value);
  CallMessageBuilder reply(builder);
  reply.add_float_param(param);
  return Finish(builder, reply.Finish());
}

Bytes EnumReply(std::uint32_t count, const std::vector<std::string>& names) {
  FlatBufferBuilder builder;
  const auto result = Names(builder, count, names);
  CallMessageBuilder reply(builder);
  reply.add_enum_result(result);
  return Finish(builder, reply.Finish());
}

Bytes BlobReply(const char* name, std::uint32_t size, const std::optional<Bytes>& data) {
  FlatBufferBuilder builder;
  const auto blob = Blob(builder, name, size, data);
  CallMessageBuilder reply(builder);
  reply.add_blob_result(blob);
  return Finish(builder, reply.Finish());
}

Bytes FullReply(std::uint32_t result) {
  FlatBufferBuilder builder;
  const messages::ServerInfo info(1, 2, 3, 4);
  const auto names = Names(builder, 1, {"name"});
  const auto param = messages::CreateFloatParamDirect(builder, "name", 2.5F);
  const auto blob = Blob(builder, "name", 3, Bytes{1, 2, 3});
  CallMessageBuilder reply(builder);
  reply.add_server_info(&info);
  reply.add_enum_result(names);
  reply.add_float_param(param);
  reply.add_blob_result(blob);
  reply.add_handle(9);
  reply.add_status(8);
  reply.add_result(result);
  return Finish(builder, reply.Finish());
}

Bytes Padded(Bytes message, std::size_t size) {
  if (message.size() > size) throw std::invalid_argument("the message is longer than that");
  message.resize(size);
  return message;
}

Bytes Build(const Notice& notice) {
  FlatBufferBuilder builder;
  const auto member =
      static_cast<EventPayload>(notice.member.value_or(static_cast<std::uint8_t>(notice.type + 1)));
  const auto payload = Payload(builder, member, notice);
  const auto event = messages::CreateNotifyEvent(builder, notice.type, member, payload);
  const auto name = builder.CreateString(notice.func_name);
  CallMessageBuilder message(builder);
  message.add_func_name(name);
  message.add_event(event);
  return Finish(builder, message.Finish());
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
