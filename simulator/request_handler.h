/// Answering requests: the bytes of one in, the fields of its reply out.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "simulator/instance_model.h"
#include "simulator/message_builder.h"
#include "simulator/scenario.h"
#include "zor_messages_generated.h"

namespace zor::sim {

/// The functions that the server knows, as requests name them.
[[nodiscard]] std::span<const std::string_view> FunctionNames();

struct Request {
  const messages::CallMessage* message = nullptr;  ///< null when the bytes are no valid message
  std::string function = {};                       ///< empty when the message names none
  bool too_large = false;  ///< it exceeded the limit; its bytes were not kept
};

/// `bytes` must be aligned to 8 and outlive the result.
[[nodiscard]] Request ReadRequest(std::span<const std::uint8_t> bytes);

/// Makes the call on the model. Nothing that a client can send does more than fail with a result.
[[nodiscard]] Reply AnswerRequest(const Scenario& scenario, InstanceModel& model,
                                  const Request& request);

}  // namespace zor::sim
