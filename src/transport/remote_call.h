/// What every remote call does: connect, build, write, read, verify, take the result.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "interface/zor_interface.h"
#include "messages/request.h"  // IWYU pragma: export
#include "transport/pipe_channel.h"

namespace zor {

/// One exchange on the request channel. A call constructs it, connects or returns, builds its
/// request, exchanges, copies its outputs out of the reply if it got one, and returns result().
class RemoteCall {
 public:
  static constexpr std::uint32_t kBuilderSize = 256;

  /// `log_tag` names the call in the log; it must outlive the object.
  RemoteCall(PipeChannel& request, const char* log_tag, std::uint32_t builder_size = kBuilderSize);

  /// False, with result() 2, when the server is not there.
  [[nodiscard]] bool Connect() noexcept;

  /// Where the request's tables are built.
  [[nodiscard]] messages::Builder& builder() noexcept { return builder_; }

  /// Sends the request and returns its reply: verified, with a result of 0 or none. Null otherwise,
  /// and result() says why. The reply lives as long as this object.
  const messages::CallMessage* Exchange(const messages::Request& request);

  /// What the call returns: why the last step failed, or 0.
  [[nodiscard]] ZorResult result() const noexcept { return result_; }

 private:
  static constexpr std::size_t kReplyLimit = 1024;

  PipeChannel& channel_;
  const char* log_tag_;
  messages::Builder builder_;
  ZorResult result_ = ZOR_SUCCESS;
  alignas(8) std::array<std::uint8_t, kReplyLimit> reply_;
};

}  // namespace zor
