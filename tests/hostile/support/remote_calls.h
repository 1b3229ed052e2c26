/// The twelve remote calls on records between forbidden pages, and what each must make of a reply.
#pragma once

#include <cstdint>
#include <string>

#include "tests/hostile/support/guarded.h"
#include "tests/kit/remote_calls.h"

namespace zor::hostile {

using testing::Bytes;

/// All that the calls read and write, each by itself between forbidden pages.
class Records {
 public:
  explicit Records(Edge edge);
  Records(const Records&) = delete;
  Records& operator=(const Records&) = delete;
  ~Records() = default;

  Guarded<ZorServerInfo> info;
  Guarded<std::uint32_t> handle;
  Guarded<std::uint32_t> status;
  Guarded<ZorFloatParam> param;
  Guarded<ZorNameList> list;
  Guarded<ZorBlob> output;

  Guarded<ZorTextParam> text;
  Guarded<ZorBlob> input;

  [[nodiscard]] testing::CallRecords All() const {
    return {&*info, &*handle, &*status, &*param, &*list, &*output, &*text, &*input};
  }

  void Remember();
  /// Nothing has changed since, the names in the list included.
  [[nodiscard]] bool Untouched() const;
  /// Nothing but the outputs themselves has.
  [[nodiscard]] bool OnlyOutputsTouched() const;

  /// Frees what a call has put into `output`, which is as it was before.
  void ReleaseOutput(const testing::Exports& library);

 private:
  GuardedText name_{"gain"};
  GuardedText value_{"hall"};
  GuardedText data_{"\1\2\3"};
  std::string listed_;
};

using testing::RemoteCall;
using testing::RemoteCalls;

/// Whether the outputs are what this reply, of a call that succeeded, has brought.
[[nodiscard]] bool Took(const RemoteCall& remote, const messages::CallMessage& reply,
                        const Records& records);

/// What a call must make of a reply.
struct Judgement {
  ZorResult result = 0;
  /// The line in the log; none when it is empty.
  std::string log = {};
  /// The reply, if its outputs are taken.
  const messages::CallMessage* taken = nullptr;
  /// The reply asks for a list of very many slots, which the call would make.
  bool is_too_long_a_list = false;
};

/// `reply` must outlive the result.
[[nodiscard]] Judgement Judge(const RemoteCall& remote, const Bytes& reply);

}  // namespace zor::hostile
