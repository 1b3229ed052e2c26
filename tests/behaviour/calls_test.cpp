// Each remote call: what it sends, and what it makes of the reply.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "tests/kit/system.h"
#include "tests/rig/rig.h"

namespace zor::rig {
namespace {

using messages::BlobParam;
using messages::CallMessage;
using messages::FloatParam;
using messages::TextParam;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsNull;
using ::testing::NotNull;
using testing::Request;

constexpr std::uint32_t kHandle = 0xA1B2C3D4;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

class Calls : public ::testing::Test {
 protected:
  /// The last request, which names `func_name` and carries `status` 7 as every request does.
  Request Sent(const char* func_name) {
    const auto requests = server_.Requests();
    if (requests.empty()) throw std::runtime_error("no request was sent");
    Request request(requests.back());
    EXPECT_STREQ(request->func_name()->c_str(), func_name);
    EXPECT_EQ(request->status(), 7);
    return request;
  }

  Rig rig_;
  RequestServer server_;
  Library library_;
};

// --- GetInfo

TEST_F(Calls, GetInfoSendsItsNameAndTakesTheFourWords) {
  server_.Answer(Reply{.server_info = messages::ServerInfo(1, 0, 0xFFFFFFFF, 4)});
  ZorServerInfo info{9, 9, 9, 9};
  EXPECT_EQ(library_->GetInfo(&info), 0U);
  EXPECT_EQ(info.info0, 1U);
  EXPECT_EQ(info.info1, 0U);
  EXPECT_EQ(info.info2, 0xFFFFFFFFU);
  EXPECT_EQ(info.info3, 4U);
  EXPECT_THAT(Sent("ZorIntfGetInfo").Fields(),
              ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS));
}

TEST_F(Calls, GetInfoWithoutWordsInTheReplyStoresZeros) {
  ZorServerInfo info{9, 9, 9, 9};
  EXPECT_EQ(library_->GetInfo(&info), 0U);
  EXPECT_EQ(info.info0 | info.info1 | info.info2 | info.info3, 0U);
}

// --- Create, Config

TEST_F(Calls, CreateSendsBothTextsAndTakesTheHandle) {
  server_.Answer(Reply{.handle = 0xFFFFFFFF});
  const ZorTextParam param{"alg\xF6rithm", ""};
  std::uint32_t handle = 1;
  EXPECT_EQ(library_->Create(&handle, &param), 0U);
  EXPECT_EQ(handle, 0xFFFFFFFFU);
  const Request request = Sent("ZorIntfCreate");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_TEXT_PARAM,
                                            CallMessage::VT_STATUS));
  EXPECT_EQ(request->text_param()->name()->str(), "alg\xF6rithm");
  EXPECT_EQ(request->text_param()->value()->str(), "");
}

TEST_F(Calls, CreateLeavesNullTextsOut) {
  std::uint32_t handle = 1;
  for (const ZorTextParam& param : {ZorTextParam{"reverb", nullptr}, ZorTextParam{nullptr, "hall"},
                                    ZorTextParam{nullptr, nullptr}}) {
    EXPECT_EQ(library_->Create(&handle, &param), 0U);
    const Request request = Sent("ZorIntfCreate");
    ASSERT_THAT(request->text_param(), NotNull());
    const auto fields = Request::FieldsOf(request->text_param());
    if (param.name != nullptr) {
      EXPECT_THAT(fields, ElementsAre(TextParam::VT_NAME));
      EXPECT_EQ(request->text_param()->name()->str(), "reverb");
    } else if (param.value != nullptr) {
      EXPECT_THAT(fields, ElementsAre(TextParam::VT_VALUE));
      EXPECT_EQ(request->text_param()->value()->str(), "hall");
    } else {
      EXPECT_THAT(fields, IsEmpty());
    }
  }
}

TEST_F(Calls, CreateWithoutAHandleInTheReplyStoresZero) {
  std::uint32_t handle = 1;
  const ZorTextParam param{"name", "value"};
  EXPECT_EQ(library_->Create(&handle, &param), 0U);
  EXPECT_EQ(handle, 0U);
}

TEST_F(Calls, CreateThatTheServerRefusesLeavesTheHandle) {
  server_.Answer(testing::FullReply(4));
  std::uint32_t handle = 1;
  const ZorTextParam param{"name", "value"};
  EXPECT_EQ(library_->Create(&handle, &param), 4U);
  EXPECT_EQ(handle, 1U);
}

TEST_F(Calls, ConfigSendsTheTextsAndTheHandle) {
  const ZorTextParam param{"rate", "48000"};
  EXPECT_EQ(library_->Config(kHandle, &param), 0U);
  const Request request = Sent("ZorIntfConfig");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_TEXT_PARAM,
                                            CallMessage::VT_STATUS, CallMessage::VT_HANDLE));
  EXPECT_EQ(request->handle(), kHandle);
  EXPECT_EQ(request->text_param()->name()->str(), "rate");
  EXPECT_EQ(request->text_param()->value()->str(), "48000");
}

TEST_F(Calls, ConfigOfHandleZeroSendsNoHandle) {
  const ZorTextParam param{nullptr, nullptr};
  EXPECT_EQ(library_->Config(0, &param), 0U);
  const Request request = Sent("ZorIntfConfig");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_TEXT_PARAM,
                                            CallMessage::VT_STATUS));
  EXPECT_THAT(Request::FieldsOf(request->text_param()), IsEmpty());
}

// --- GetStatus

TEST_F(Calls, GetStatusWidensTheByte) {
  server_.Answer(Reply{.status = 0xFF});
  std::uint32_t status = 0xDEADBEEF;
  EXPECT_EQ(library_->GetStatus(kHandle, &status), 0U);
  EXPECT_EQ(status, 255U);
  const Request request = Sent("ZorIntfGetStatus");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_HANDLE));
  EXPECT_EQ(request->handle(), kHandle);
}

TEST_F(Calls, GetStatusWithoutAStatusInTheReplyStoresZero) {
  std::uint32_t status = 0xDEADBEEF;
  EXPECT_EQ(library_->GetStatus(kHandle, &status), 0U);
  EXPECT_EQ(status, 0U);
}

// --- Destroy, Start, Stop

TEST_F(Calls, CommandsSendTheHandleAndNothingElse) {
  for (const auto& [command, name] :
       {std::pair(library_->Destroy, "ZorIntfDestroy"), std::pair(library_->Start, "ZorIntfStart"),
        std::pair(library_->Stop, "ZorIntfStop")}) {
    EXPECT_EQ(command(0xFFFFFFFF), 0U);
    const Request request = Sent(name);
    EXPECT_EQ(request->handle(), 0xFFFFFFFFU);
    EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                              CallMessage::VT_HANDLE));
    EXPECT_EQ(command(0), 0U);
    EXPECT_THAT(Sent(name).Fields(),
                ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS));
  }
}

// --- Set and Get, alike but for the name

class Params : public Calls, public ::testing::WithParamInterface<bool> {
 protected:
  [[nodiscard]] static const char* Name() { return GetParam() ? "ZorIntfSet" : "ZorIntfGet"; }
  ZorResult Call(std::uint32_t handle, ZorFloatParam& param) {
    return GetParam() ? library_->Set(handle, &param) : library_->Get(handle, &param);
  }
};

TEST_P(Params, SendTheRecordAndTakeTheValue) {
  server_.Answer(Reply{.float_param = -1.25F});
  ZorFloatParam param{"gain", 3.75F};
  EXPECT_EQ(Call(kHandle, param), 0U);
  EXPECT_EQ(param.value, -1.25F);
  EXPECT_STREQ(param.name, "gain");
  const Request request = Sent(Name());
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_FLOAT_PARAM,
                                            CallMessage::VT_STATUS, CallMessage::VT_HANDLE));
  EXPECT_EQ(request->handle(), kHandle);
  EXPECT_EQ(request->float_param()->name()->str(), "gain");
  EXPECT_EQ(request->float_param()->value(), 3.75F);
}

TEST_P(Params, WithoutAParameterInTheReplyKeepTheValue) {
  for (const float value : {1.25F, -0.0F}) {
    ZorFloatParam param{"gain", value};
    EXPECT_EQ(Call(kHandle, param), 0U);
    EXPECT_EQ(param.value, value);
    EXPECT_EQ(std::signbit(param.value), std::signbit(value));
  }
}

TEST_P(Params, WithoutAValueInTheReplyStoreZero) {
  server_.Answer(Reply{.float_param = 0.0F});
  ZorFloatParam param{"gain", 8};
  EXPECT_EQ(Call(kHandle, param), 0U);
  EXPECT_EQ(param.value, 0.0F);
}

TEST_P(Params, SendNoValueForMinusZero) {
  ZorFloatParam param{"gain", -0.0F};
  EXPECT_EQ(Call(kHandle, param), 0U);
  EXPECT_THAT(Request::FieldsOf(Sent(Name())->float_param()), ElementsAre(FloatParam::VT_NAME));
}

TEST_P(Params, SendNan) {
  ZorFloatParam param{"gain", kNan};
  EXPECT_EQ(Call(kHandle, param), 0U);
  const Request request = Sent(Name());
  EXPECT_THAT(Request::FieldsOf(request->float_param()),
              ElementsAre(FloatParam::VT_NAME, FloatParam::VT_VALUE));
  EXPECT_TRUE(std::isnan(request->float_param()->value()));
}

TEST_P(Params, SendALongNameWhole) {
  const std::string name(5000, 'n');
  ZorFloatParam param{name.c_str(), 1.0F};
  EXPECT_EQ(Call(kHandle, param), 0U);
  EXPECT_EQ(Sent(Name())->float_param()->name()->str(), name);
}

INSTANTIATE_TEST_SUITE_P(Calls, Params, ::testing::Bool(), [](const auto& suite) {
  return std::string(suite.param ? "Set" : "Get");
});

// --- algorithm ids before any list

// --- Enum

// --- serialized blocks

bool IsNone(const ZorBlob& blob) {
  return blob.name == nullptr && blob.size == 0 && blob.data == nullptr;
}

class Blocks : public Calls {
 protected:
  ZorBlob Input() { return {name_, static_cast<std::uint32_t>(data_.size()), data_.data()}; }

  /// A get that succeeds: the bytes of the block that it hands out with this name.
  Bytes Get(const ZorBlob& input, ZorBlob& output, const char* name = "preset") {
    EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output), 0U);
    EXPECT_STREQ(output.name, name);
    EXPECT_THAT(output.data, NotNull());
    return {output.data, output.data + output.size};
  }

  /// What was handed out.
  void Release(ZorBlob& blob) {
    std::uint8_t* const data = blob.data;
    EXPECT_EQ(library_->FreeSerialized(kHandle, &blob), 0U);
    EXPECT_EQ(blob.data, data);  // left pointing at the released block
    testing::Free(blob.name);
  }

  void Answer(const Reply::Block& block) { server_.Answer(Reply{.blob_result = block}); }

  static constexpr ZorBlob kNone{nullptr, 0, nullptr};
  char name_[7] = "preset";
  Bytes data_{0, 1, 0xFF, 3};
  ZorBlob output_ = kNone;
};

TEST_F(Blocks, SetSendsTheBlock) {
  const ZorBlob input = Input();
  EXPECT_EQ(library_->SetSerialized(kHandle, &input), 0U);
  const Request request = Sent("ZorIntfSetSerialized");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_HANDLE, CallMessage::VT_BLOB_PARAM));
  EXPECT_EQ(request->handle(), kHandle);
  EXPECT_EQ(request->blob_param()->name()->str(), "preset");
  EXPECT_EQ(request->blob_param()->size(), 4U);
  EXPECT_THAT(*request->blob_param()->data(), ElementsAre(0, 1, 0xFF, 3));
}

TEST_F(Blocks, SetOfNothingSendsAnEmptyVectorAndNoSize) {
  for (std::uint8_t* data : {data_.data(), static_cast<std::uint8_t*>(nullptr)}) {
    const ZorBlob input{nullptr, 0, data};
    EXPECT_EQ(library_->SetSerialized(kHandle, &input), 0U);
    const Request request = Sent("ZorIntfSetSerialized");
    EXPECT_THAT(Request::FieldsOf(request->blob_param()), ElementsAre(BlobParam::VT_DATA));
    EXPECT_EQ(request->blob_param()->data()->size(), 0U);
  }
}

TEST_F(Blocks, SetOfAMebibyteArrivesWhole) {
  data_.resize(1U << 20U);
  for (std::size_t i = 0; i < data_.size(); ++i) {
    data_[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  }
  const ZorBlob input = Input();
  EXPECT_EQ(library_->SetSerialized(kHandle, &input), 0U);
  const Request request = Sent("ZorIntfSetSerialized");
  EXPECT_EQ(request->blob_param()->size(), data_.size());
  const auto* sent = request->blob_param()->data();
  EXPECT_EQ(Bytes(sent->begin(), sent->end()), data_);
}

TEST_F(Blocks, GetHandsOutTheInputsNameAndTheReplysBytes) {
  Answer({"another", 3, Bytes{7, 8, 9}});
  const ZorBlob input{name_, 0, data_.data()};
  EXPECT_THAT(Get(input, output_), ElementsAre(7, 8, 9));
  EXPECT_NE(output_.name, input.name);
  const Request request = Sent("ZorIntfGetSerialized");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_HANDLE, CallMessage::VT_BLOB_PARAM));
  EXPECT_EQ(request->handle(), kHandle);
  EXPECT_THAT(Request::FieldsOf(request->blob_param()), ElementsAre(BlobParam::VT_NAME));
  Release(output_);
}

TEST_F(Blocks, GetSendsTheInputsBytes) {
  const ZorBlob input = Input();
  EXPECT_EQ(library_->GetSerialized(0, &input, &output_), 0U);
  const Request request = Sent("ZorIntfGetSerialized");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_BLOB_PARAM));
  EXPECT_EQ(request->blob_param()->size(), 4U);
  EXPECT_THAT(*request->blob_param()->data(), ElementsAre(0, 1, 0xFF, 3));
}

TEST_F(Blocks, GetMayFillTheRecordThatItReads) {
  Answer({{}, 2, Bytes{8, 9}});
  ZorBlob blob = Input();
  EXPECT_THAT(Get(blob, blob), ElementsAre(8, 9));
  Release(blob);
}

TEST_F(Blocks, GetWithoutABlockInTheReplyLeavesTheOutput) {
  const ZorBlob input = Input();
  output_ = {name_, 77, nullptr};
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output_), 0U);
  EXPECT_EQ(output_.name, name_);
  EXPECT_EQ(output_.size, 77U);
  EXPECT_THAT(output_.data, IsNull());
}

TEST_F(Blocks, GetThatTheServerRefusesLeavesTheOutputNull) {
  server_.Answer(testing::FullReply(6));
  const ZorBlob input = Input();
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output_), 6U);
  EXPECT_TRUE(IsNone(output_));
}

TEST_F(Blocks, GetOfABlockWithoutASizeGivesAnEmptyBlock) {
  Answer({"block", 0, Bytes{1, 2, 3}});
  EXPECT_THAT(Get(Input(), output_), IsEmpty());
  Release(output_);
}

TEST_F(Blocks, GetOfASizeBelowTheVectorsTakesItsBeginning) {
  Answer({{}, 2, Bytes{7, 8, 9}});
  EXPECT_THAT(Get(Input(), output_), ElementsAre(7, 8));
  Release(output_);
}

TEST_F(Blocks, GetOfABlockThatClaimsMoreThanItBringsFails) {
  const ZorBlob input = Input();
  for (const Reply::Block& block :
       {Reply::Block{{}, 4, Bytes{7, 8, 9}}, Reply::Block{{}, 0xFFFFFFFF, Bytes{7, 8, 9}},
        Reply::Block{{}, 1, Bytes{}}, Reply::Block{{}, 1, {}}}) {
    Answer(block);
    EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output_), 1U);
    EXPECT_TRUE(IsNone(output_));
  }
}

TEST_F(Blocks, WithoutANameSendNoneAndHandBackNone) {
  const ZorBlob input{nullptr, 0, nullptr};
  EXPECT_EQ(library_->SetSerialized(kHandle, &input), 0U);
  EXPECT_THAT(Sent("ZorIntfSetSerialized")->blob_param()->name(), IsNull());

  Answer({"server", 2, Bytes{8, 9}});
  output_ = Input();
  EXPECT_THAT(Get(input, output_, nullptr), ElementsAre(8, 9));
  EXPECT_THAT(Request::FieldsOf(Sent("ZorIntfGetSerialized")->blob_param()), IsEmpty());
  Release(output_);
}

TEST_F(Blocks, GetOfTheLargestThatAReplyHoldsArrivesWhole) {
  const auto reply = [](std::size_t size) {
    Bytes data(size);
    for (std::size_t i = 0; i < size; ++i) data[i] = static_cast<std::uint8_t>(i);
    const auto claimed = static_cast<std::uint32_t>(size);
    return Build(Reply{.func_name = {}, .blob_result = Reply::Block{{}, claimed, data}});
  };
  std::size_t size = 900;
  while (reply(size + 1).size() <= 1024) ++size;

  server_.Answer(reply(size));
  const Bytes got = Get(Input(), output_);
  ASSERT_EQ(got.size(), size);
  EXPECT_EQ(got.back(), static_cast<std::uint8_t>(size - 1));
  Release(output_);

  server_.Answer(reply(size + 1));
  const ZorBlob input = Input();
  output_ = kNone;
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output_), 1U);
  EXPECT_TRUE(IsNone(output_));
}

TEST_F(Blocks, BeyondTheMessageFormatAreRefusedUntouched) {
  for (const std::uint32_t size : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFC00U, 0xFFFFFFFFU}) {
    const ZorBlob input{name_, size, data_.data()};
    EXPECT_EQ(library_->SetSerialized(kHandle, &input), 1U);
    EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output_), 1U);
    EXPECT_TRUE(IsNone(output_));
  }
  EXPECT_THAT(server_.Requests(), IsEmpty());
}

TEST_F(Blocks, FreeSendsNothingAndReleasesTheDataOnly) {
  ZorBlob blob{name_, 5, nullptr};
  EXPECT_EQ(library_->FreeSerialized(kHandle, &blob), 0U);
  EXPECT_THAT(blob.data, IsNull());
  blob.data = static_cast<std::uint8_t*>(testing::Allocate(5));
  const ZorBlob before = blob;
  EXPECT_EQ(library_->FreeSerialized(0, &blob), 0U);
  EXPECT_EQ(blob.name, before.name);
  EXPECT_EQ(blob.size, 5U);
  EXPECT_EQ(blob.data, before.data);  // left pointing at the released block
  EXPECT_THAT(server_.Requests(), IsEmpty());
  EXPECT_EQ(server_.connections(), 0);
}

}  // namespace
}  // namespace zor::rig
