#include "bench/own_work/canned_pipe.h"

#include <cstring>

#include "platform/pipe.h"

namespace zor {
namespace {

std::span<const std::uint8_t> canned;

}  // namespace

void bench::SetReply(std::span<const std::uint8_t> reply) noexcept { canned = reply; }

platform::OpenResult platform::OpenPipe(const wchar_t* /*name*/) noexcept {
  return {.handle = PipeHandle{4}};
}

void platform::SetMessageReadMode(PipeHandle /*pipe*/) noexcept {}

bool platform::PeekPipe(PipeHandle /*pipe*/) noexcept { return true; }

bool platform::PeekPipe(PipeHandle /*pipe*/, std::uint32_t& /*available*/) noexcept { return true; }

bool platform::WritePipe(PipeHandle /*pipe*/, std::span<const std::uint8_t> /*message*/) noexcept {
  return true;
}

platform::ReadResult platform::ReadPipe(PipeHandle /*pipe*/,
                                        std::span<std::uint8_t> buffer) noexcept {
  std::memcpy(buffer.data(), canned.data(), canned.size());
  return {.ok = true, .count = static_cast<std::uint32_t>(canned.size())};
}

void platform::DisconnectPipe(PipeHandle /*pipe*/) noexcept {}

void platform::ClosePipe(PipeHandle /*pipe*/) noexcept {}

}  // namespace zor
