// Who owns instances and blocks.
#include <type_traits>

#include "tests/cpp/client_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(!std::is_copy_constructible_v<Instance> && !std::is_copy_assignable_v<Instance>);
static_assert(std::is_nothrow_move_constructible_v<Instance>);
static_assert(std::is_nothrow_move_assignable_v<Instance>);
static_assert(!std::is_copy_constructible_v<Blob> && !std::is_copy_assignable_v<Blob>);
static_assert(std::is_nothrow_move_constructible_v<Blob>);
static_assert(std::is_nothrow_move_assignable_v<Blob>);

TEST_F(ClientTest, AnInstanceDestroysItself) {
  {
    const Instance instance = MakeInstance();
    EXPECT_TRUE(instance);
    EXPECT_THAT(TakeRequests(), IsEmpty());
  }
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfDestroy 5"));
}

TEST_F(ClientTest, AnInstanceWithTheHandle0DestroysItselfToo) {
  static_cast<void>(MakeInstance(0));
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfDestroy 0"));
}

TEST_F(ClientTest, AnInstanceIsDestroyedOnceWhereverItIsMoved) {
  {
    Instance first = MakeInstance();
    Instance second = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): what it is afterwards is told
    EXPECT_EQ(second.handle(), 5U);
    Instance third;
    third = std::move(second);
    EXPECT_THAT(TakeRequests(), IsEmpty());
  }
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfDestroy 5"));
}

TEST_F(ClientTest, AssigningDestroysWhatWasOwned) {
  Instance first = MakeInstance(5);
  Instance second = MakeInstance(6);
  first = std::move(second);
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfDestroy 5"));
  EXPECT_EQ(first.handle(), 6U);
}

TEST_F(ClientTest, AMovedInstanceKeepsItsClient) {
  std::mutex mutex;
  Instance instance;
  instance = Instance(Client(mutex), 5);
  bool held = false;
  ThePipes().Listen(kRequestPipe, [&](const Bytes&) {
    std::thread([&] { held = !std::unique_lock(mutex, std::try_to_lock).owns_lock(); }).join();
    return std::vector<Bytes>{Build(Reply{})};
  });
  instance.Start();
  EXPECT_TRUE(held);
  instance.Destroy();
}

TEST_F(ClientTest, AReleasedInstanceIsTheCallers) {
  {
    Instance instance = MakeInstance();
    EXPECT_EQ(instance.Release(), 5U);
    EXPECT_FALSE(instance);
  }
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(ClientTest, AnInstanceThatCouldNotBeDestroyedStaysOwned) {
  {
    Instance instance = MakeInstance();
    answer_.result = 9;
    std::error_code error;
    instance.Destroy(error);
    EXPECT_EQ(error, MakeErrorCode(9));
    EXPECT_TRUE(instance);
    answer_.result = ZOR_SUCCESS;
    instance.Destroy(error);
    EXPECT_FALSE(error);
    EXPECT_FALSE(instance);
  }
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfDestroy 5", "ZorIntfDestroy 5"));
}

TEST_F(ClientTest, ADestructorReportsNothing) {
  {
    const Instance instance = MakeInstance();
    answer_.result = 9;
  }
  EXPECT_THAT(TakeRequests(), ElementsAre("ZorIntfDestroy 5"));
}

TEST_F(ClientTest, AnInstanceThatOwnsNothingSendsNothing) {
  Instance none;
  std::error_code error;
  none.Start(error);
  EXPECT_EQ(error, std::errc::invalid_argument);
  EXPECT_EQ(none.GetStatus(error), 0U);
  EXPECT_EQ(error, std::errc::invalid_argument);
  EXPECT_THROW(none.Destroy(), std::system_error);
  EXPECT_THAT(TakeRequests(), IsEmpty());
}

TEST_F(ClientTest, ABlockFreesItsDataAndItsName) {
  const Instance instance = MakeInstance();
  answer_.blob_result = Reply::Block{.name = "preset", .size = 2, .data = Bytes{7, 8}};
  {
    Blob first = instance.GetSerialized("preset");
    EXPECT_EQ(TheHeap().BlockCount(), 2U);
    Blob second = std::move(first);
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): what it is afterwards is told
    EXPECT_TRUE(first.empty());
    first = std::move(second);
    EXPECT_EQ(first.size(), 2U);
    first = instance.GetSerialized("preset");
    EXPECT_EQ(TheHeap().BlockCount(), 2U);
  }
  EXPECT_EQ(TheHeap().BlockCount(), 0U);
}

TEST_F(ClientTest, ABlockOfSize0IsNotNoBlock) {
  const Instance instance = MakeInstance();
  answer_.blob_result = Reply::Block{.name = "preset"};
  const Blob empty = instance.GetSerialized("preset");
  EXPECT_TRUE(empty);
  EXPECT_TRUE(empty.empty());

  answer_.blob_result.reset();
  const Blob none = instance.GetSerialized("preset");
  EXPECT_FALSE(none);
  EXPECT_EQ(none.name(), nullptr);
}

TEST_F(ClientTest, ABlockWithoutMemoryForItsDataLeavesNothing) {
  const Instance instance = MakeInstance();
  answer_.blob_result = Reply::Block{.name = "preset", .size = 2, .data = Bytes{7, 8}};
  TheCalls().Fail(Function::kHeapAllocate, 0, 2);
  std::error_code error;
  const Blob blob = instance.GetSerialized("preset", error);
  EXPECT_EQ(error, Result::kTransportFailure);
  EXPECT_FALSE(blob);
  EXPECT_TRUE(blob.empty());
  EXPECT_EQ(TheHeap().BlockCount(), 0U);
}

}  // namespace
}  // namespace zor::scripted
