#include "calls/serialized_calls.h"

#include <cstring>
#include <vector>

#include "platform/heap.h"
#include "transport/remote_call.h"

namespace zor {
namespace {

// What a request needs besides the block; the builder then does not have to grow.
constexpr std::uint32_t kBuilderExtra = 1024;

// The message format's own limit, with room for a request around the block.
constexpr std::uint32_t kBlockLimit =
    static_cast<std::uint32_t>(FLATBUFFERS_MAX_BUFFER_SIZE) - 2 * kBuilderExtra;

/// The reply's block; null when there is none or when it claims more bytes than it brings.
const std::uint8_t* BlockBytes(const messages::BlobParam& block) {
  static constexpr std::uint8_t kNoBytes = 0;
  if (block.size() == 0) return &kNoBytes;
  const auto* data = block.data();
  return data == nullptr || data->size() < block.size() ? nullptr : data->data();
}

/// A copy of `name` on the runtime's heap; null for null, or when there is no memory.
char* CopyName(const char* name) noexcept {
  if (name == nullptr) return nullptr;
  const std::size_t size = std::strlen(name) + 1;
  void* copy = platform::HeapAllocate(size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, name, size));
}

}  // namespace

ZorResult SetSerialized(PipeChannel& request, std::uint32_t handle, const ZorBlob& blob) {
  RemoteCall call(request, "ZorIntfSetSerialized", blob.size + kBuilderExtra);
  if (!call.Connect()) return call.result();
  if (blob.size > kBlockLimit) return ZOR_TRANSPORT_FAILURE;

  const std::vector<std::uint8_t> bytes(blob.data, blob.data + blob.size);
  // The vector is sent even when it is empty.
  const auto block = messages::CreateBlobParamDirect(call.builder(), blob.name, blob.size, &bytes);
  call.Exchange({.func_name = "ZorIntfSetSerialized", .handle = handle, .blob_param = block});
  return call.result();
}

ZorResult GetSerialized(PipeChannel& request, std::uint32_t handle, const ZorBlob& input,
                        ZorBlob& output) {
  RemoteCall call(request, "ZorIntfGetSerialized", input.size + kBuilderExtra);
  if (!call.Connect()) return call.result();
  if (input.size > kBlockLimit) return ZOR_TRANSPORT_FAILURE;

  const std::vector<std::uint8_t> bytes(input.data, input.data + input.size);
  // Unlike a set, a get sends no vector when there are no bytes.
  const auto block = messages::CreateBlobParamDirect(call.builder(), input.name, input.size,
                                                     bytes.empty() ? nullptr : &bytes);
  const auto* reply =
      call.Exchange({.func_name = "ZorIntfGetSerialized", .handle = handle, .blob_param = block});
  const auto* answer = reply == nullptr ? nullptr : reply->blob_result();
  if (answer == nullptr) return call.result();
  const std::uint8_t* source = BlockBytes(*answer);
  if (source == nullptr) return ZOR_TRANSPORT_FAILURE;

  // The name handed back is the one that was asked for, not the reply's.
  output.name = CopyName(input.name);
  output.size = answer->size();
  output.data = static_cast<std::uint8_t*>(platform::HeapAllocate(output.size));
  if (output.data == nullptr) return output.size == 0 ? ZOR_SUCCESS : ZOR_TRANSPORT_FAILURE;
  std::memcpy(output.data, source, output.size);
  return ZOR_SUCCESS;
}

void FreeSerialized(const ZorBlob& blob) noexcept { platform::HeapFree(blob.data); }

}  // namespace zor
