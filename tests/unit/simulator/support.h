/// Requests as clients send them, and servers to send them to.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "messages/reply.h"
#include "messages/request.h"
#include "simulator/engine.h"
#include "simulator/results.h"
#include "simulator/scenario.h"

namespace zor::sim {

// For the failure messages of the tests.
inline void PrintTo(Result result, std::ostream* stream) {
  *stream << "result " << static_cast<std::uint32_t>(result);
}

inline void PrintTo(const Notification& notification, std::ostream* stream) {
  *stream << "type " << static_cast<int>(notification.type) << " flag " << notification.flag
          << " value " << notification.value << " \"" << notification.text << '"';
}

/// A few of everything.
inline Scenario SmallScenario() {
  Scenario scenario;
  scenario.information = {11, 22, 33, 44};
  scenario.lists[0] = {"speaker", "headset"};
  scenario.lists[2] = {"general", "private", "whisper"};
  scenario.lists[255] = {};
  scenario.parameters = {{.name = "gain", .initial = 1, .range = Range{.min = 0, .max = 4}},
                         {.name = "free", .initial = -2.5F},
                         {.name = "latency", .initial = 480, .read_only = true}};
  scenario.blobs = {{.name = "preset", .data = {1, 2, 3}}, {.name = "empty", .data = {}}};
  scenario.limits = {.instances = 3, .blobs_per_instance = 4, .blob_bytes = 2000};
  return scenario;
}

template <typename Members>
Bytes BuildRequest(const char* function, Members members) {
  messages::Builder builder;
  messages::Request request = members(builder);
  request.func_name = function;
  builder.Finish(messages::BuildRequest(builder, request));
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

/// A call that carries no more than a handle.
inline Bytes Plain(const char* function, std::uint32_t handle = 0) {
  return BuildRequest(function,
                      [&](messages::Builder&) { return messages::Request{.handle = handle}; });
}

inline Bytes Enum(std::uint8_t selector) {
  return BuildRequest("ZorIntfEnum",
                      [&](messages::Builder&) { return messages::Request{.enum_type = selector}; });
}

/// "ZorIntfCreate" or "ZorIntfConfig"; a null text is absent.
inline Bytes Text(const char* function, std::uint32_t handle, const char* name,
                  const char* value = nullptr) {
  return BuildRequest(function, [&](messages::Builder& builder) {
    const auto text = messages::CreateTextParamDirect(builder, name, value);
    return messages::Request{.text_param = text, .handle = handle};
  });
}

/// "ZorIntfSet" or "ZorIntfGet".
inline Bytes Float(const char* function, std::uint32_t handle, const char* name, float value = 0) {
  return BuildRequest(function, [&](messages::Builder& builder) {
    const auto param = messages::CreateFloatParamDirect(builder, name, value);
    return messages::Request{.float_param = param, .handle = handle};
  });
}

/// "ZorIntfSetSerialized" or "ZorIntfGetSerialized"; `size` is the data's unless it is given.
inline Bytes Block(const char* function, std::uint32_t handle, const char* name,
                   const std::optional<Bytes>& data = std::nullopt,
                   std::optional<std::uint32_t> size = std::nullopt) {
  return BuildRequest(function, [&](messages::Builder& builder) {
    const auto length = data ? static_cast<std::uint32_t>(data->size()) : 0;
    const auto blob = messages::CreateBlobParamDirect(builder, name, size.value_or(length),
                                                      data ? &*data : nullptr);
    return messages::Request{.handle = handle, .blob_param = blob};
  });
}

/// The message in these bytes, which must outlive it; a failure of the test, and null, when there
/// is none.
inline const messages::CallMessage* Message(const Bytes& bytes) {
  const auto* message = messages::CheckReply(bytes);
  if (message == nullptr) ADD_FAILURE() << "no valid message of " << bytes.size() << " bytes";
  return message;
}
const messages::CallMessage* Message(Bytes&& bytes) = delete;

inline const messages::CallMessage* Message(const std::optional<Bytes>& bytes) {
  if (bytes) return Message(*bytes);
  ADD_FAILURE() << "no reply";
  return nullptr;
}
const messages::CallMessage* Message(std::optional<Bytes>&& bytes) = delete;

/// The result of a reply.
inline Result ResultOf(const Reaction& reaction) {
  const auto* message = Message(reaction.reply);
  return message == nullptr ? Result{0xFFFFFFFF} : Result{message->result()};
}

/// An instance of "general", in the state "created".
inline std::uint32_t CreateInstance(Engine& engine) {
  const Reaction reaction = engine.OnRequest(Text("ZorIntfCreate", 0, "general"));
  const auto* message = Message(reaction.reply);
  return message == nullptr ? 0 : message->handle();
}

/// An instance that is configured and started.
inline std::uint32_t StartInstance(Engine& engine) {
  const std::uint32_t handle = CreateInstance(engine);
  EXPECT_EQ(ResultOf(engine.OnRequest(Text("ZorIntfConfig", handle, "rate"))), Result::kSuccess);
  EXPECT_EQ(ResultOf(engine.OnRequest(Plain("ZorIntfStart", handle))), Result::kSuccess);
  return handle;
}

}  // namespace zor::sim
