/// The listener: keeps the notification pipe connected and hands its messages to the callback.
#pragma once

#include "transport/rpc_client.h"

namespace zor {

/// The listener thread's routine: passes over the notification channel until `client.stopping` is
/// found set at the end of one.
void RunNotifyListener(RpcClient& client) noexcept;

}  // namespace zor
