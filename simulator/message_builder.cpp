#include "simulator/message_builder.h"

#include "zor_messages_generated.h"

namespace zor::sim {
namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

Bytes Finished(FlatBufferBuilder& builder, Offset<messages::CallMessage> root) {
  builder.Finish(root);
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

struct Payload {
  messages::EventPayload type = messages::EventPayload_NONE;
  Offset<void> table = {};
};

// The member's number is the type's plus one.
Payload BuildPayload(FlatBufferBuilder& builder, const Notification& from) {
  const std::uint8_t flag = from.flag ? 1 : 0;
  switch (from.type) {
    case 0:
      return {messages::EventPayload_BoolPayload,
              messages::CreateBoolPayload(builder, from.flag).Union()};
    case 1:
      return {messages::EventPayload_WordPayload,
              messages::CreateWordPayload(builder, from.value).Union()};
    case 2:
      return {messages::EventPayload_BytePayload,
              messages::CreateBytePayload(builder, flag).Union()};
    case 3:
      return {messages::EventPayload_Word2Payload,
              messages::CreateWord2Payload(builder, from.value).Union()};
    case 4: {
      const auto text = builder.CreateString(from.text);
      return {messages::EventPayload_ByteTextPayload,
              messages::CreateByteTextPayload(builder, flag, text).Union()};
    }
    case 5: {
      const auto text = builder.CreateString(from.text);
      return {messages::EventPayload_WordTextPayload,
              messages::CreateWordTextPayload(builder, from.value, text).Union()};
    }
    default:
      return {};
  }
}

}  // namespace

Bytes BuildReply(const Reply& reply) {
  FlatBufferBuilder builder;
  Offset<messages::EnumResult> names;
  if (reply.names) {
    names = messages::CreateEnumResult(builder, static_cast<std::uint32_t>(reply.names->size()),
                                       builder.CreateVectorOfStrings(*reply.names));
  }
  Offset<messages::FloatParam> parameter;
  if (reply.parameter) {
    const auto name = builder.CreateString(reply.parameter->name);
    parameter = messages::CreateFloatParam(builder, name, reply.parameter->value);
  }
  Offset<messages::BlobParam> blob;
  if (reply.blob) {
    const auto name = builder.CreateString(reply.blob->name);
    const auto data = builder.CreateVector(reply.blob->data);
    blob = messages::CreateBlobParam(builder, name,
                                     static_cast<std::uint32_t>(reply.blob->data.size()), data);
  }
  std::optional<messages::ServerInfo> information;
  if (reply.information) {
    const auto& words = *reply.information;
    information.emplace(words[0], words[1], words[2], words[3]);
  }

  messages::CallMessageBuilder message(builder);
  message.add_blob_result(blob);
  message.add_result(reply.result);
  message.add_handle(reply.handle);
  message.add_float_param(parameter);
  message.add_enum_result(names);
  message.add_server_info(information ? &*information : nullptr);
  message.add_status(reply.status);
  return Finished(builder, message.Finish());
}

Bytes BuildNotification(const Notification& notification, const std::string& func_name) {
  FlatBufferBuilder builder;
  const Payload payload = BuildPayload(builder, notification);
  const auto event =
      messages::CreateNotifyEvent(builder, notification.type, payload.type, payload.table);
  const auto name = builder.CreateString(func_name);
  messages::CallMessageBuilder message(builder);
  message.add_event(event);
  message.add_func_name(name);
  return Finished(builder, message.Finish());
}

}  // namespace zor::sim
