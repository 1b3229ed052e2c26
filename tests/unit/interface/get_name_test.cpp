// Which name ZorIntfGet goes by: the one that its record holds when the call begins.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

constexpr const char* kAlgorithm = "supproted_algo_name";

class GetName : public CallTest {
 protected:
  GetName() { TheLibrary().algorithm_ids = {{"general", 10, 3}}; }

  /// Gets a parameter whose record somebody else gives another name during the call.
  ZorResult GetWhileRenamed(const char* name) {
    param_.name = first_name_.c_str();
    ThePipes().Listen(kRequestPipe, [this, name](const Bytes& /*request*/) {
      param_.name = name;
      Reply reply;
      reply.float_param = 10.0F;
      return std::vector<Bytes>{Build(reply)};
    });
    return ZorIntfGet(5, &param_);
  }

  std::string first_name_;
  ZorFloatParam param_{};
};

TEST_F(GetName, IsTheOneBeforeTheCall) {
  first_name_ = kAlgorithm;
  EXPECT_EQ(GetWhileRenamed("gain"), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, 3.0F);
}

TEST_F(GetName, IsNotTheOneAfterTheCall) {
  first_name_ = "gain";
  EXPECT_EQ(GetWhileRenamed(kAlgorithm), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, 10.0F);
}

TEST_F(GetName, IsNotReadAfterTheCall) {
  first_name_ = "gain";
  EXPECT_EQ(GetWhileRenamed(nullptr), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, 10.0F);
}

}  // namespace
}  // namespace zor::scripted
