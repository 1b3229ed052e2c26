#include "messages/request.h"

namespace zor::messages {
namespace {

// Every request carries this value, whatever the call; the server may rely on it.
constexpr std::uint8_t kRequestStatus = 7;

}  // namespace

flatbuffers::Offset<CallMessage> BuildRequest(Builder& builder, const Request& request) {
  return CreateCallMessageDirect(builder, request.func_name, /*server_info=*/nullptr,
                                 /*enum_result=*/0, request.text_param, request.float_param,
                                 request.enum_type, kRequestStatus, /*event=*/0, request.handle,
                                 /*result=*/0, request.blob_param, /*blob_result=*/0);
}

}  // namespace zor::messages
