// Instances whose server has ended: its successor gives out the same handles.
#include "tests/cpp/client_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(ClientTest, AssigningAnInstanceWithTheSameHandleDestroysNothing) {
  Instance instance = MakeInstance(1);
  answer_.handle = 1;  // the restarted server begins anew
  instance = client_.Create("general");
  EXPECT_EQ(instance.handle(), 1U);
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfCreate 0"));
}

TEST_F(ClientTest, AnAbandonedInstanceSendsNothing) {
  {
    Instance instance = MakeInstance(1);
    instance.Abandon();
    EXPECT_FALSE(instance);
  }
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(ClientTest, AnAbandonedInstanceCanBeAssignedTo) {
  Instance instance = MakeInstance(1);
  instance.Abandon();
  instance = MakeInstance(2);
  EXPECT_EQ(instance.handle(), 2U);
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

}  // namespace
}  // namespace zor::scripted
