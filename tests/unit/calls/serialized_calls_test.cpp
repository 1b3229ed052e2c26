// Whole parameter blocks.
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <cstring>

#include "messages/reply.h"
#include "platform/heap.h"
#include "tests/support/library_test.h"
#include "tests/support/messages.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;
using ::testing::StrEq;

class SerializedCalls : public CallTest {
 protected:
  const messages::BlobParam& RequestBlock() {
    for (Bytes& written : ThePipes().TakeWritten(kRequestPipe)) request_ = std::move(written);
    return *messages::CheckReply(request_)->blob_param();
  }

  /// The request's fields other than the block.
  const messages::CallMessage& Request() {
    static_cast<void>(RequestBlock());
    return *messages::CheckReply(request_);
  }

  static bool Has(const messages::BlobParam& block, flatbuffers::voffset_t field) {
    return reinterpret_cast<const flatbuffers::Table&>(block).CheckField(field);
  }

  ZorBlob Input() { return {name_, static_cast<std::uint32_t>(data_.size()), data_.data()}; }

  /// The block of a record that a call has filled.
  static Bytes Data(const ZorBlob& blob) { return {blob.data, blob.data + blob.size}; }

  static void Release(ZorBlob& blob) {
    EXPECT_EQ(ZorIntfFreeSerialized(0, &blob), ZOR_SUCCESS);
    platform::HeapFree(blob.name);  // the application's to free
  }

  static constexpr ZorBlob kNone{nullptr, 0, nullptr};

  char name_[7] = "preset";
  Bytes data_{1, 2, 3};

 private:
  Bytes request_;
};

bool IsNone(const ZorBlob& blob) {
  return blob.name == nullptr && blob.size == 0 && blob.data == nullptr;
}

TEST_F(SerializedCalls, SetSendsNameSizeDataAndHandle) {
  AnswerWith(Build(Reply{}));
  const ZorBlob input = Input();
  EXPECT_EQ(ZorIntfSetSerialized(6, &input), ZOR_SUCCESS);
  EXPECT_EQ(Request().handle(), 6U);
  const auto& block = RequestBlock();
  EXPECT_THAT(block.name()->c_str(), StrEq("preset"));
  EXPECT_EQ(block.size(), 3U);
  EXPECT_THAT(*block.data(), ElementsAre(1, 2, 3));
}

TEST_F(SerializedCalls, SetOfSize0SendsAnEmptyVectorAndNoSize) {
  AnswerWith(Build(Reply{}));
  for (std::uint8_t* data : {data_.data(), static_cast<std::uint8_t*>(nullptr)}) {
    const ZorBlob input{name_, 0, data};
    EXPECT_EQ(ZorIntfSetSerialized(6, &input), ZOR_SUCCESS);
    const auto& block = RequestBlock();
    EXPECT_FALSE(Has(block, messages::BlobParam::VT_SIZE));
    ASSERT_TRUE(Has(block, messages::BlobParam::VT_DATA));
    EXPECT_EQ(block.data()->size(), 0U);
  }
}

TEST_F(SerializedCalls, GetOfSize0SendsNoVector) {
  AnswerWith(Build(Reply{}));
  const ZorBlob input{name_, 0, data_.data()};
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_FALSE(Has(RequestBlock(), messages::BlobParam::VT_SIZE));
  EXPECT_FALSE(Has(RequestBlock(), messages::BlobParam::VT_DATA));
}

TEST_F(SerializedCalls, GetSendsTheInputsBlock) {
  AnswerWith(Build(Reply{}));
  const ZorBlob input = Input();
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_EQ(RequestBlock().size(), 3U);
  EXPECT_THAT(*RequestBlock().data(), ElementsAre(1, 2, 3));
  EXPECT_EQ(Request().handle(), 6U);
}

TEST_F(SerializedCalls, ANullNameIsLeftOutAndHandedBackAsNull) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{"server", 2, Bytes{8, 9}}}));
  const ZorBlob input{nullptr, 0, nullptr};
  EXPECT_EQ(ZorIntfSetSerialized(6, &input), ZOR_SUCCESS);
  EXPECT_EQ(RequestBlock().name(), nullptr);

  ZorBlob output = Input();
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_EQ(RequestBlock().name(), nullptr);
  EXPECT_EQ(output.name, nullptr);
  EXPECT_THAT(Data(output), ElementsAre(8, 9));
  Release(output);
}

TEST_F(SerializedCalls, GetHandsOutTheInputsNameAndTheRepliesBytes) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{"server's name", 2, Bytes{8, 9}}}));
  const ZorBlob input = Input();
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_THAT(output.name, StrEq("preset"));
  EXPECT_NE(output.name, input.name);
  EXPECT_THAT(Data(output), ElementsAre(8, 9));
  EXPECT_EQ(TheHeap().BlockCount(), 2U);
  Release(output);
}

TEST_F(SerializedCalls, GetMayFillTheRecordThatItReads) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{{}, 2, Bytes{8, 9}}}));
  ZorBlob blob = Input();
  EXPECT_EQ(ZorIntfGetSerialized(6, &blob, &blob), ZOR_SUCCESS);
  EXPECT_THAT(blob.name, StrEq("preset"));
  EXPECT_THAT(Data(blob), ElementsAre(8, 9));
  Release(blob);
}

TEST_F(SerializedCalls, AReplyWithoutASizeGivesABlockOfZeroBytesThatIsNotNull) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{{}, 0, Bytes{8, 9}}}));
  const ZorBlob input = Input();
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_EQ(output.size, 0U);
  EXPECT_NE(output.data, nullptr);
  Release(output);
}

TEST_F(SerializedCalls, ASizeBelowTheVectorsTakesTheVectorsBeginning) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{{}, 2, Bytes{7, 8, 9}}}));
  const ZorBlob input = Input();
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_THAT(Data(output), ElementsAre(7, 8));
  Release(output);
}

TEST_F(SerializedCalls, ASizeBeyondTheVectorsOrWithoutAVectorReturns1AndLeaksNothing) {
  const ZorBlob input = Input();
  for (const auto& block :
       {Reply::Block{{}, 4, Bytes{7, 8, 9}}, Reply::Block{{}, 0xFFFFFFFF, Bytes{7, 8, 9}},
        Reply::Block{{}, 1, Bytes{}}, Reply::Block{{}, 1, {}}}) {
    AnswerWith(Build(Reply{.blob_result = block}));
    ZorBlob output = kNone;
    EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_TRANSPORT_FAILURE);
    EXPECT_TRUE(IsNone(output));
    EXPECT_EQ(TheHeap().BlockCount(), 0U);
  }
}

TEST_F(SerializedCalls, AReplyWithoutABlockReturns0AndLeavesTheRecord) {
  AnswerWith(Build(Reply{}));
  const ZorBlob input = Input();
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_TRUE(IsNone(output));
}

TEST_F(SerializedCalls, ARefusedGetLeavesARecordOfNullsAllNull) {
  AnswerWith(Build(Reply{.result = 6, .blob_result = Reply::Block{{}, 2, Bytes{8, 9}}}));
  const ZorBlob input = Input();
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), 6U);
  EXPECT_TRUE(IsNone(output));
}

TEST_F(SerializedCalls, WithoutMemoryForTheNameTheNameIsNullAndTheCallGoesOn) {
  AnswerWith(Build(Reply{.blob_result = Reply::Block{{}, 2, Bytes{8, 9}}}));
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
  TheCalls().Fail(Function::kHeapAllocate, 0, 2);
  const ZorBlob input = Input();
  ZorBlob output = Input();
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_EQ(output.size, 0U);
  Release(output);
}

TEST_F(SerializedCalls, TheLargestBlockThatAReplyHasRoomForArrivesWhole) {
  const auto reply = [](std::size_t size) {
    Bytes data(size);
    for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<std::uint8_t>(i);
    return Build(Reply{.func_name = "",
                       .blob_result = Reply::Block{{}, static_cast<std::uint32_t>(size), data}});
  };
  std::size_t size = 0;
  while (reply(size + 1).size() <= 1024) ++size;
  ASSERT_GT(size, 900U);

  const ZorBlob input = Input();
  AnswerWith(reply(size));
  ZorBlob output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_SUCCESS);
  EXPECT_EQ(output.size, size);
  EXPECT_EQ(output.data[size - 1], static_cast<std::uint8_t>(size - 1));
  Release(output);

  AnswerWith(reply(size + 1));
  output = kNone;
  EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_TRANSPORT_FAILURE);
  EXPECT_TRUE(IsNone(output));
}

TEST_F(SerializedCalls, ABlockOfAMegabyteIsSentWhole) {
  AnswerWith(Build(Reply{}));
  data_.assign(std::size_t{1} << 20U, 0x5A);
  data_.back() = 1;
  const ZorBlob input = Input();
  EXPECT_EQ(ZorIntfSetSerialized(6, &input), ZOR_SUCCESS);
  const auto* data = RequestBlock().data();
  ASSERT_EQ(data->size(), data_.size());
  EXPECT_EQ(std::memcmp(data->data(), data_.data(), data_.size()), 0);
}

TEST_F(SerializedCalls, ABlockBeyondTheMessageFormatReturns1WithoutBeingTouched) {
  AnswerWith(Build(Reply{}));
  for (const std::uint32_t size : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFC00U, 0xFFFFFFFFU}) {
    const ZorBlob input{name_, size, data_.data()};
    EXPECT_EQ(ZorIntfSetSerialized(6, &input), ZOR_TRANSPORT_FAILURE);
    ZorBlob output = kNone;
    EXPECT_EQ(ZorIntfGetSerialized(6, &input, &output), ZOR_TRANSPORT_FAILURE);
    EXPECT_TRUE(IsNone(output));
  }
  EXPECT_EQ(TheCalls().Count(Function::kWritePipe), 0);
}

TEST_F(SerializedCalls, FreeReleasesTheDataAndNothingElse) {
  ZorBlob blob{name_, 3, static_cast<std::uint8_t*>(platform::HeapAllocate(3))};
  const ZorBlob before = blob;
  EXPECT_EQ(ZorIntfFreeSerialized(0xFFFFFFFF, &blob), ZOR_SUCCESS);
  EXPECT_EQ(TheHeap().BlockCount(), 0U);
  EXPECT_EQ(blob.data, before.data) << "left pointing at the released block";
  EXPECT_EQ(blob.name, before.name);
  EXPECT_EQ(blob.size, before.size);
  EXPECT_EQ(TheCalls().Count(Function::kOpenPipe), 0);
}

TEST_F(SerializedCalls, FreeingARecordTwiceReleasesItsBlockTwice) {
  ZorBlob blob{name_, 3, static_cast<std::uint8_t*>(platform::HeapAllocate(3))};
  EXPECT_EQ(ZorIntfFreeSerialized(0, &blob), ZOR_SUCCESS);
  EXPECT_NONFATAL_FAILURE(static_cast<void>(ZorIntfFreeSerialized(0, &blob)), "not allocated");
}

TEST_F(SerializedCalls, FreeOfNullReturns0AndDoesNothing) {
  ZorBlob blob{name_, 3, nullptr};
  EXPECT_EQ(ZorIntfFreeSerialized(6, &blob), ZOR_SUCCESS);
}

}  // namespace
}  // namespace zor::scripted
