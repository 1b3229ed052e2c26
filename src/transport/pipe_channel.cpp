#include "transport/pipe_channel.h"

#include "interface/debug_log.h"

namespace zor {

using platform::PipeHandle;

PipeChannel::PipeChannel(std::wstring_view path) noexcept {
  path.copy(name.data(), kNameLimit - 1);
}

void PipeChannel::Close() noexcept {
  const PipeHandle closing = handle.exchange(PipeHandle::kInvalid);
  if (closing == PipeHandle::kInvalid) return;
  platform::DisconnectPipe(closing);
  platform::ClosePipe(closing);
}

void PipeChannel::Shut() noexcept {
  if (use_.exchange(Use::kShut) != Use::kHeld) Close();
}

PipeChannel::Hold::Hold(PipeChannel& channel) noexcept {
  Use expected = Use::kFree;
  channel_ = channel.use_.compare_exchange_strong(expected, Use::kHeld) ? &channel : nullptr;
}

PipeChannel::Hold::~Hold() {
  if (channel_ == nullptr) return;
  Use expected = Use::kHeld;  // not when it was shut meanwhile
  channel_->use_.compare_exchange_strong(expected, Use::kFree);
}

bool ConnectToServer(PipeChannel& channel) noexcept {
  const PipeHandle current = channel.handle;
  if (current != PipeHandle::kInvalid && platform::PeekPipe(current)) return true;

  // A handle that no longer answers is abandoned, not closed: another thread may be using it.
  const platform::OpenResult opened = platform::OpenPipe(channel.name.data());
  channel.handle = opened.handle;
  if (opened.handle == PipeHandle::kInvalid) {
    Log("Error occurred while connecting to the server: %d\n", static_cast<int>(opened.error));
    return false;
  }
  Log("ConnectToServer() was successful.\n");
  platform::SetMessageReadMode(opened.handle);
  return true;
}

}  // namespace zor
