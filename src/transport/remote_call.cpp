#include "transport/remote_call.h"

#include <span>

#include "interface/debug_log.h"
#include "messages/reply.h"
#include "platform/pipe.h"
#include "platform/shared.h"

namespace zor {

// The reply buffer stays as the stack has it: only what a read has put there is looked at.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
RemoteCall::RemoteCall(PipeChannel& request, const char* log_tag, std::uint32_t builder_size)
    : channel_(request), log_tag_(log_tag), builder_(builder_size) {}

bool RemoteCall::Connect() noexcept {
  if (ConnectToServer(channel_)) return true;
  result_ = ZOR_NOT_CONNECTED;
  return false;
}

const messages::CallMessage* RemoteCall::Exchange(const messages::Request& request) {
  builder_.Finish(messages::BuildRequest(builder_, request));

  // No step below closes or resets the handle: the next call's peek decides what it is worth.
  result_ = ZOR_TRANSPORT_FAILURE;
  const platform::PipeHandle pipe = channel_.handle;
  if (!platform::WritePipe(pipe, {builder_.GetBufferPointer(), builder_.GetSize()})) return nullptr;
  const platform::ReadResult read = platform::ReadPipe(pipe, reply_);
  if (!read.ok) return nullptr;

  const auto* reply = messages::CheckReply(std::span(reply_).first(read.count));
  if (reply == nullptr) {
    Log("[%s] The IPC gotten data is invalid\n", log_tag_);
    return nullptr;
  }
  result_ = reply->result();
  if (result_ != ZOR_SUCCESS) {
    Log("[%s] The ZorRet: %d\n", log_tag_, static_cast<int>(result_));
    return nullptr;
  }
  return reply;
}

}  // namespace zor
