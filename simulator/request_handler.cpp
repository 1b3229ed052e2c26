#include "simulator/request_handler.h"

#include <algorithm>
#include <array>
#include <utility>

#include "messages/reply.h"

namespace zor::sim {
namespace {

// Every request carries it.
constexpr std::uint8_t kRequestStatus = 7;

struct Call {
  const Scenario& scenario;
  InstanceModel& model;
  const messages::CallMessage& request;
  Reply reply = {};

  [[nodiscard]] std::uint32_t handle() const { return request.handle(); }
};

std::string_view View(const flatbuffers::String* text) {
  return text == nullptr ? std::string_view() : text->string_view();
}

Result GetInfo(Call& call) {
  call.reply.information = call.scenario.information;
  return Result::kSuccess;
}

Result Enum(Call& call) {
  const auto found = call.scenario.lists.find(call.request.enum_type());
  if (found == call.scenario.lists.end()) return Result::kNoSuchList;
  call.reply.names = found->second;
  return Result::kSuccess;
}

Result Create(Call& call) {
  const auto* text = call.request.text_param();
  if (text == nullptr || text->name() == nullptr) return Result::kMissingArgument;
  return call.model.Create(View(text->name()), call.reply.handle);
}

Result Config(Call& call) {
  if (call.request.text_param() == nullptr) return Result::kMissingArgument;
  return call.model.Configure(call.handle());
}

Result Start(Call& call) { return call.model.Start(call.handle()); }

Result Stop(Call& call) { return call.model.Stop(call.handle()); }

Result Destroy(Call& call) { return call.model.Destroy(call.handle()); }

Result GetStatus(Call& call) {
  State state{};
  const Result result = call.model.GetState(call.handle(), state);
  call.reply.status = static_cast<std::uint8_t>(state);
  return result;
}

Result Set(Call& call) {
  const auto* parameter = call.request.float_param();
  if (parameter == nullptr || parameter->name() == nullptr) return Result::kMissingArgument;
  const auto name = View(parameter->name());
  const Result result = call.model.SetParameter(call.handle(), name, parameter->value());
  if (call.scenario.echo_set) {
    call.reply.parameter = ParameterValue{std::string(name), parameter->value()};
  }
  return result;
}

Result Get(Call& call) {
  const auto* parameter = call.request.float_param();
  if (parameter == nullptr || parameter->name() == nullptr) return Result::kMissingArgument;
  ParameterValue value{.name = std::string(View(parameter->name()))};
  const Result result = call.model.GetParameter(call.handle(), value.name, value.value);
  call.reply.parameter = std::move(value);
  return result;
}

/// The bytes of a block, present or not, agree with its size.
bool IsConsistent(const messages::BlobParam& blob) {
  return blob.size() == (blob.data() == nullptr ? 0 : blob.data()->size());
}

// A block without a name is the one with the empty name.
Result SetSerialized(Call& call) {
  const auto* blob = call.request.blob_param();
  if (blob == nullptr) return Result::kMissingArgument;
  if (!IsConsistent(*blob)) return Result::kMalformedRequest;
  const auto* data = blob->data();
  return call.model.StoreBlob(
      call.handle(), View(blob->name()),
      data == nullptr ? std::span<const std::uint8_t>() : std::span(data->data(), data->size()));
}

// The bytes that a request may send along mean nothing here.
Result GetSerialized(Call& call) {
  const auto* asked = call.request.blob_param();
  if (asked == nullptr) return Result::kMissingArgument;
  if (!IsConsistent(*asked)) return Result::kMalformedRequest;
  std::span<const std::uint8_t> data;
  const Result result = call.model.FindBlob(call.handle(), View(asked->name()), data);
  call.reply.blob = Blob{std::string(View(asked->name())), Bytes(data.begin(), data.end())};
  return result;
}

struct Entry {
  std::string_view name;
  Result (*answer)(Call& call);
};

constexpr std::array kFunctions = {
    Entry{"ZorIntfConfig", Config},
    Entry{"ZorIntfCreate", Create},
    Entry{"ZorIntfDestroy", Destroy},
    Entry{"ZorIntfEnum", Enum},
    Entry{"ZorIntfGet", Get},
    Entry{"ZorIntfGetInfo", GetInfo},
    Entry{"ZorIntfGetSerialized", GetSerialized},
    Entry{"ZorIntfGetStatus", GetStatus},
    Entry{"ZorIntfSet", Set},
    Entry{"ZorIntfSetSerialized", SetSerialized},
    Entry{"ZorIntfStart", Start},
    Entry{"ZorIntfStop", Stop},
};

Result Dispatch(const Request& request, Call& call) {
  if (call.request.status() != kRequestStatus) return Result::kMalformedRequest;
  for (const Entry& entry : kFunctions) {
    if (entry.name == request.function) return entry.answer(call);
  }
  return Result::kUnknownFunction;
}

Reply Refusal(Result result) { return {.result = static_cast<std::uint32_t>(result)}; }

}  // namespace

std::span<const std::string_view> FunctionNames() {
  static constexpr auto kNames = [] {
    std::array<std::string_view, kFunctions.size()> names;
    std::ranges::transform(kFunctions, names.begin(), &Entry::name);
    return names;
  }();
  return kNames;
}

Request ReadRequest(std::span<const std::uint8_t> bytes) {
  // One table carries requests, replies and notifications: the check is the same.
  const auto* message = messages::CheckReply(bytes);
  if (message == nullptr) return {};
  return {.message = message, .function = std::string(View(message->func_name()))};
}

Reply AnswerRequest(const Scenario& scenario, InstanceModel& model, const Request& request) {
  if (request.too_large) return Refusal(Result::kTooLarge);
  if (request.message == nullptr) return Refusal(Result::kMalformedRequest);
  Call call{.scenario = scenario, .model = model, .request = *request.message};
  const Result result = Dispatch(request, call);
  // A call that failed has no outputs.
  return result == Result::kSuccess ? std::move(call.reply) : Refusal(result);
}

}  // namespace zor::sim
