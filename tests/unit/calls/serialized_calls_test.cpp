// Whole parameter blocks where there is no memory, and freed twice.
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "platform/heap.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::StrEq;

class SerializedCalls : public CallTest {
 protected:
  ZorBlob Input() { return {name_, static_cast<std::uint32_t>(data_.size()), data_.data()}; }

  /// The block of a record that a call has filled.
  static Bytes Data(const ZorBlob& blob) { return {blob.data, blob.data + blob.size}; }

  static void Release(ZorBlob& blob) {
    EXPECT_EQ(ZorIntfFreeSerialized(0, &blob), ZOR_SUCCESS);
    platform::HeapFree(blob.name);  // the application's to free
  }

  char name_[7] = "preset";
  Bytes data_{1, 2, 3};
};

TEST_F(SerializedCalls, WithoutMemoryForTheNameTheNameIsNullAndTheCallGoesOn) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{{}, 2, Bytes{8, 9}}}));
  static_cast<void>(ZorIntfStart(6));  // connects, which logs
  TheCalls().Fail(Function::kHeapAllocate, 0, 1);
  const ZorBlob input = Input();
  ZorBlob output = Input();
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_EQ(output.name, nullptr);
  EXPECT_THAT(Data(output), ElementsAre(8, 9));
  Release(output);
}

TEST_F(SerializedCalls, WithoutMemoryForTheDataReturns1WithDataNull) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{{}, 2, Bytes{8, 9}}}));
  static_cast<void>(ZorIntfStart(6));  // connects, which logs
  TheCalls().Fail(Function::kHeapAllocate, 0, 2);
  const ZorBlob input = Input();
  ZorBlob output = Input();
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_TRANSPORT_FAILURE);
  EXPECT_EQ(output.data, nullptr);
  EXPECT_EQ(output.size, 2U);
  EXPECT_THAT(output.name, StrEq("preset"));
  Release(output);
}

TEST_F(SerializedCalls, WithoutMemoryForABlockOfZeroBytesReturns0) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{}}));
  static_cast<void>(ZorIntfStart(6));  // connects, which logs
  TheCalls().Fail(Function::kHeapAllocate, 0, 2);
  const ZorBlob input = Input();
  ZorBlob output = Input();
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_EQ(output.size, 0U);
  Release(output);
}

TEST_F(SerializedCalls, FreeingARecordTwiceReleasesItsBlockTwice) {
  ZorBlob blob{name_, 3, static_cast<std::uint8_t*>(platform::HeapAllocate(3))};
  EXPECT_EQ(ZorIntfFreeSerialized(0, &blob), ZOR_SUCCESS);
  EXPECT_NONFATAL_FAILURE(static_cast<void>(ZorIntfFreeSerialized(0, &blob)), "not allocated");
}

}  // namespace
}  // namespace zor::scripted
