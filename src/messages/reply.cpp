#include "messages/reply.h"

namespace zor::messages {
namespace {

constexpr flatbuffers::uoffset_t kMaxDepth = 64;
constexpr flatbuffers::uoffset_t kMaxTables = 1'000'000;
constexpr bool kCheckAlignment = true;

}  // namespace

const CallMessage* CheckReply(std::span<const std::uint8_t> bytes) {
  // The root's offset and one byte more, before anything is read.
  if (bytes.size() <= sizeof(flatbuffers::uoffset_t)) return nullptr;
  // A root outside is for the verifier to reject, but forming a pointer to it is ours not to do.
  const auto offset = flatbuffers::ReadScalar<flatbuffers::uoffset_t>(bytes.data());
  if (offset >= bytes.size()) return nullptr;

  const auto* root = flatbuffers::GetRoot<CallMessage>(bytes.data());
  flatbuffers::Verifier verifier(bytes.data(), bytes.size(), kMaxDepth, kMaxTables,
                                 kCheckAlignment);
  // The table's own check: no identifier, no buffer-level step.
  return root->Verify(verifier) ? root : nullptr;
}

}  // namespace zor::messages
