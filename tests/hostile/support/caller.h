/// Making calls and checking what each leaves behind.
#pragma once

#include <gtest/gtest.h>

#include "tests/hostile/support/remote_calls.h"
#include "tests/integration/support/loaded_library.h"

namespace zor::hostile {

class Caller {
 public:
  explicit Caller(const testing::LoadedLibrary& library) : library_(library.exports()) {}

  /// Makes a call to a server that answers as it should, if it does. The call's result; its outputs
  /// are those of a good reply when it is a success, and else untouched.
  ZorResult Call(const RemoteCall& remote) {
    const Bytes reply = remote.reply();
    return Call(remote, [&](const Records& records) {
      return Took(remote, *messages::GetCallMessage(reply.data()), records);
    });
  }

  /// The same with a server that may answer anything.
  ZorResult CallAStranger(const RemoteCall& remote) {
    return Call(remote, [](const Records&) { return true; });
  }

 private:
  template <typename Took>
  ZorResult Call(const RemoteCall& remote, const Took& took) {
    records_.Remember();
    const ZorResult result = remote.call(library_, records_.All());
    if (result == ZOR_SUCCESS) {
      EXPECT_TRUE(took(records_)) << remote.name;
      EXPECT_TRUE(records_.OnlyOutputsTouched()) << remote.name;
    } else {
      EXPECT_TRUE(records_.Untouched()) << remote.name;
    }
    records_.ReleaseOutput(library_);
    return result;
  }

  const testing::Exports& library_;
  Records records_{Edge::kBack};
};

}  // namespace zor::hostile
