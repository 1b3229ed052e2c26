#include "tests/support/messages.h"

#include <limits>

namespace zor::scripted {
namespace {

using messages::Builder;
using messages::EventPayload;

flatbuffers::Offset<void> BuildPayload(Builder& builder, const Notification& notification) {
  const auto byte = static_cast<std::uint8_t>(notification.value);
  switch (notification.type) {
    case 0:
      return messages::CreateBoolPayload(builder, byte != 0).Union();
    case 1:
      return messages::CreateWordPayload(builder, notification.value).Union();
    case 2:
      return messages::CreateBytePayload(builder, byte).Union();
    case 3:
      return messages::CreateWord2Payload(builder, notification.value).Union();
    case 4:
      return messages::CreateByteTextPayloadDirect(builder, byte, notification.text.c_str())
          .Union();
    case 5:
      return messages::CreateWordTextPayloadDirect(builder, notification.value,
                                                   notification.text.c_str())
          .Union();
    default:
      return 0;
  }
}

}  // namespace

Bytes Build(const Reply& reply) {
  return BuildMessage([&](Builder& builder) {
    builder.ForceDefaults(reply.with_defaults);
    const auto func_name = builder.CreateString(reply.func_name);

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
      block = messages::CreateBlobParamDirect(builder, given.name ? given.name->c_str() : nullptr,
                                              given.size, given.data ? &*given.data : nullptr);
    }
    return messages::CreateCallMessage(
        builder, func_name, reply.server_info ? &*reply.server_info : nullptr, names,
        /*text_param=*/0, param, /*enum_type=*/0, reply.status, /*event=*/0, reply.handle,
        reply.result, /*blob_param=*/0, block);
  });
}

Bytes Build(const Notification& notification) {
  return BuildMessage([&](Builder& builder) {
    const auto payload = BuildPayload(builder, notification);
    const auto member = static_cast<EventPayload>(payload.IsNull() ? 0 : notification.type + 1);
    const auto event = messages::CreateNotifyEvent(builder, notification.type, member, payload);
    return messages::CreateCallMessageDirect(builder, notification.func_name.c_str(), nullptr, 0, 0,
                                             0, 0, 0, event);
  });
}

}  // namespace zor::scripted
