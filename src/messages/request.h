/// Building requests.
#pragma once

#include <cstdint>

#include "zor_messages_generated.h"  // IWYU pragma: export

namespace zor::messages {

using Builder = flatbuffers::FlatBufferBuilder;

/// What a request may carry; a field that is left at its default is left out of the message.
struct Request {
  const char* func_name = nullptr;  ///< the exported function's name; the server dispatches on it
  flatbuffers::Offset<TextParam> text_param = {};
  flatbuffers::Offset<FloatParam> float_param = {};
  std::uint8_t enum_type = 0;
  std::uint32_t handle = 0;
  flatbuffers::Offset<BlobParam> blob_param = {};
};

/// Adds the request's root table to `builder`, in which its members were built before.
[[nodiscard]] flatbuffers::Offset<CallMessage> BuildRequest(Builder& builder,
                                                            const Request& request);

}  // namespace zor::messages
