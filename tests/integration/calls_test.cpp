// Each export against a server on the real request pipe: what it sends, and what it makes of the
// reply.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "tests/integration/support/debug_capture.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/pipe_server.h"
#include "tests/integration/support/wire.h"

namespace zor::testing {
namespace {

using messages::BlobParam;
using messages::CallMessage;
using messages::FloatParam;
using messages::TextParam;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsNull;
using ::testing::NotNull;

constexpr std::uint32_t kHandle = 0xA1B2C3D4;

class CallsTest : public ::testing::Test {
 protected:
  /// The one request, which names `func_name` and carries `status` 7 as every request does.
  Request Sent(const char* func_name) {
    Request request(server_.OnlyRequest());
    EXPECT_STREQ(request->func_name()->c_str(), func_name);
    EXPECT_EQ(request->status(), 7);
    return request;
  }

  RequestServer server_;
  LoadedLibrary library_;
};

// --- GetInfo

TEST_F(CallsTest, GetInfoSendsItsNameAndTakesTheFourWords) {
  server_.Answer(InfoReply(1, 2, 0xFFFFFFFF, 4));
  ZorServerInfo info{};
  EXPECT_EQ(library_->GetInfo(&info), 0U);
  EXPECT_EQ(info.info0, 1U);
  EXPECT_EQ(info.info1, 2U);
  EXPECT_EQ(info.info2, 0xFFFFFFFFU);
  EXPECT_EQ(info.info3, 4U);
  EXPECT_THAT(Sent("ZorIntfGetInfo").Fields(),
              ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS));
}

TEST_F(CallsTest, GetInfoWithoutWordsInTheReplyIsZeros) {
  server_.Answer(SuccessReply());
  ZorServerInfo info{9, 9, 9, 9};
  EXPECT_EQ(library_->GetInfo(&info), 0U);
  EXPECT_EQ(info.info0 | info.info1 | info.info2 | info.info3, 0U);
}

// --- Create

TEST_F(CallsTest, CreateSendsBothTextsAndTakesTheHandle) {
  server_.Answer(HandleReply(kHandle));
  const ZorTextParam param{"alg\xF6rithm", ""};
  std::uint32_t handle = 1;
  EXPECT_EQ(library_->Create(&handle, &param), 0U);
  EXPECT_EQ(handle, kHandle);
  const Request request = Sent("ZorIntfCreate");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_TEXT_PARAM,
                                            CallMessage::VT_STATUS));
  EXPECT_EQ(request->text_param()->name()->str(), "alg\xF6rithm");
  EXPECT_EQ(request->text_param()->value()->str(), "");
}

TEST_F(CallsTest, CreateWithoutAValueSendsOnlyTheName) {
  const ZorTextParam param{"name", nullptr};
  std::uint32_t handle = 1;
  EXPECT_EQ(library_->Create(&handle, &param), 0U);
  EXPECT_THAT(Request::FieldsOf(Sent("ZorIntfCreate")->text_param()),
              ElementsAre(TextParam::VT_NAME));
}

TEST_F(CallsTest, CreateWithoutAHandleInTheReplyStoresZero) {
  std::uint32_t handle = 1;
  const ZorTextParam param{"name", "value"};
  EXPECT_EQ(library_->Create(&handle, &param), 0U);
  EXPECT_EQ(handle, 0U);
}

TEST_F(CallsTest, CreateThatTheServerRefusesLeavesTheHandle) {
  server_.Answer(FullReply(4));
  std::uint32_t handle = 1;
  const ZorTextParam param{"name", "value"};
  EXPECT_EQ(library_->Create(&handle, &param), 4U);
  EXPECT_EQ(handle, 1U);
}

// --- Config

TEST_F(CallsTest, ConfigSendsTheTextsAndTheHandle) {
  const ZorTextParam param{"rate", "48000"};
  EXPECT_EQ(library_->Config(kHandle, &param), 0U);
  const Request request = Sent("ZorIntfConfig");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_TEXT_PARAM,
                                            CallMessage::VT_STATUS, CallMessage::VT_HANDLE));
  EXPECT_EQ(request->handle(), kHandle);
  EXPECT_EQ(request->text_param()->name()->str(), "rate");
  EXPECT_EQ(request->text_param()->value()->str(), "48000");
}

TEST_F(CallsTest, ConfigOfHandleZeroSendsNoHandle) {
  const ZorTextParam param{nullptr, nullptr};
  EXPECT_EQ(library_->Config(0, &param), 0U);
  const Request request = Sent("ZorIntfConfig");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_TEXT_PARAM,
                                            CallMessage::VT_STATUS));
  EXPECT_THAT(Request::FieldsOf(request->text_param()), IsEmpty());
}

// --- GetStatus

TEST_F(CallsTest, GetStatusWidensTheByte) {
  server_.Answer(StatusReply(0xFF));
  std::uint32_t status = 0xDEADBEEF;
  EXPECT_EQ(library_->GetStatus(kHandle, &status), 0U);
  EXPECT_EQ(status, 255U);
  const Request request = Sent("ZorIntfGetStatus");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_HANDLE));
  EXPECT_EQ(request->handle(), kHandle);
}

TEST_F(CallsTest, GetStatusWithoutAStatusInTheReplyStoresZero) {
  std::uint32_t status = 0xDEADBEEF;
  EXPECT_EQ(library_->GetStatus(kHandle, &status), 0U);
  EXPECT_EQ(status, 0U);
}

// --- Destroy, Start, Stop

TEST_F(CallsTest, DestroyStartAndStopSendTheirNamesAndTheHandle) {
  EXPECT_EQ(library_->Destroy(1), 0U);
  EXPECT_EQ(library_->Start(2), 0U);
  EXPECT_EQ(library_->Stop(0), 0U);
  const auto requests = server_.Requests();
  ASSERT_EQ(requests.size(), 3U);

  const Request destroy(requests[0]);
  EXPECT_STREQ(destroy->func_name()->c_str(), "ZorIntfDestroy");
  EXPECT_EQ(destroy->handle(), 1U);
  const Request start(requests[1]);
  EXPECT_STREQ(start->func_name()->c_str(), "ZorIntfStart");
  EXPECT_EQ(start->handle(), 2U);
  EXPECT_THAT(start.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                          CallMessage::VT_HANDLE));
  const Request stop(requests[2]);
  EXPECT_STREQ(stop->func_name()->c_str(), "ZorIntfStop");
  EXPECT_THAT(stop.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS));
}

// --- Set, Get

TEST_F(CallsTest, SetSendsTheParameterAndTakesTheValueThatTheServerEchoes) {
  server_.Answer(FloatReply(2.5F));
  ZorFloatParam param{"gain", 3.75F};
  EXPECT_EQ(library_->Set(kHandle, &param), 0U);
  EXPECT_EQ(param.value, 2.5F);
  const Request request = Sent("ZorIntfSet");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_FLOAT_PARAM,
                                            CallMessage::VT_STATUS, CallMessage::VT_HANDLE));
  EXPECT_EQ(request->handle(), kHandle);
  EXPECT_EQ(request->float_param()->name()->str(), "gain");
  EXPECT_EQ(request->float_param()->value(), 3.75F);
}

TEST_F(CallsTest, SetWithoutAParameterInTheReplyKeepsTheValue) {
  ZorFloatParam param{"gain", 3.75F};
  EXPECT_EQ(library_->Set(kHandle, &param), 0U);
  EXPECT_EQ(param.value, 3.75F);
}

TEST_F(CallsTest, SetOfNegativeZeroSendsNoValue) {
  ZorFloatParam param{"gain", -0.0F};
  EXPECT_EQ(library_->Set(kHandle, &param), 0U);
  EXPECT_THAT(Request::FieldsOf(Sent("ZorIntfSet")->float_param()),
              ElementsAre(FloatParam::VT_NAME));
}

TEST_F(CallsTest, SetOfNanSendsNan) {
  ZorFloatParam param{"gain", std::numeric_limits<float>::quiet_NaN()};
  EXPECT_EQ(library_->Set(kHandle, &param), 0U);
  const Request request = Sent("ZorIntfSet");
  EXPECT_THAT(Request::FieldsOf(request->float_param()),
              ElementsAre(FloatParam::VT_NAME, FloatParam::VT_VALUE));
  EXPECT_TRUE(std::isnan(request->float_param()->value()));
}

TEST_F(CallsTest, GetSendsTheRecordAndTakesTheValue) {
  server_.Answer(FloatReply(-1.25F));
  ZorFloatParam param{"gain", 8};
  EXPECT_EQ(library_->Get(kHandle, &param), 0U);
  EXPECT_EQ(param.value, -1.25F);
  const Request request = Sent("ZorIntfGet");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_FLOAT_PARAM,
                                            CallMessage::VT_STATUS, CallMessage::VT_HANDLE));
  EXPECT_EQ(request->float_param()->value(), 8.0F);
}

TEST_F(CallsTest, GetOfAParameterWithoutAValueStoresZero) {
  server_.Answer(FloatReply(0));
  ZorFloatParam param{"gain", 8};
  EXPECT_EQ(library_->Get(kHandle, &param), 0U);
  EXPECT_EQ(param.value, 0.0F);
}

TEST_F(CallsTest, GetWithoutAParameterInTheReplyKeepsTheValue) {
  ZorFloatParam param{"gain", 8};
  EXPECT_EQ(library_->Get(kHandle, &param), 0U);
  EXPECT_EQ(param.value, 8.0F);
}

// --- algorithm ids

TEST_F(CallsTest, SetOfAnAlgorithmIdBeforeAnyListSendsNothing) {
  ZorFloatParam param{"supproted_algo_name", 1};
  EXPECT_EQ(library_->Set(kHandle, &param), 3U);
  EXPECT_EQ(param.value, 1.0F);
  EXPECT_THAT(server_.Requests(), IsEmpty());
}

TEST_F(CallsTest, GetOfAnAlgorithmIdBeforeAnyListLeavesTheServersId) {
  server_.Answer(FloatReply(6));
  ZorFloatParam param{"supproted_algo_name", 1};
  EXPECT_EQ(library_->Get(kHandle, &param), 3U);
  EXPECT_EQ(param.value, 6.0F);
}

TEST_F(CallsTest, GetOfAnAlgorithmIdThatTheServerRefusesIsItsResult) {
  server_.Answer(FullReply(12));
  ZorFloatParam param{"supproted_algo_name", 1};
  EXPECT_EQ(library_->Get(kHandle, &param), 12U);
  EXPECT_EQ(param.value, 1.0F);
}

TEST_F(CallsTest, ANameThatDiffersInCaseIsNoAlgorithmId) {
  ZorFloatParam param{"Supproted_algo_name", 1};
  EXPECT_EQ(library_->Set(kHandle, &param), 0U);
  EXPECT_EQ(Sent("ZorIntfSet")->float_param()->name()->str(), "Supproted_algo_name");
}

// --- Enum

TEST_F(CallsTest, EnumSendsTheSelectorAndTakesTheNames) {
  server_.Answer(EnumReply(3, {"first", "", "th\xEFrd"}));
  ZorNameList list{};
  EXPECT_EQ(library_->Enum(1, &list), 0U);
  ASSERT_EQ(list.count, 3U);
  EXPECT_STREQ(list.items[0], "first");
  EXPECT_STREQ(list.items[1], "");
  EXPECT_STREQ(list.items[2], "th\xEFrd");
  const Request request = Sent("ZorIntfEnum");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_ENUM_TYPE,
                                            CallMessage::VT_STATUS));
  EXPECT_EQ(request->enum_type(), 1);
}

TEST_F(CallsTest, EnumSendsTheLowByteOfTheSelector) {
  ZorNameList list{};
  EXPECT_EQ(library_->Enum(0x301, &list), 0U);
  EXPECT_EQ(library_->Enum(0x100, &list), 0U);
  const auto requests = server_.Requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(Request(requests[0])->enum_type(), 1);
  EXPECT_THAT(Request(requests[1]).Fields(),
              ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS));
}

TEST_F(CallsTest, EnumReplacesTheListAndKeepsItOnAFailure) {
  server_.Answer(EnumReply(2, {"a", "b"}));
  server_.Answer(FullReply(5));
  server_.Answer(EnumReply(1, {"c"}));
  server_.Answer(SuccessReply());
  ZorNameList list{};
  EXPECT_EQ(library_->Enum(1, &list), 0U);
  EXPECT_EQ(library_->Enum(1, &list), 5U);
  ASSERT_EQ(list.count, 2U);
  EXPECT_STREQ(list.items[1], "b");
  EXPECT_EQ(library_->Enum(1, &list), 0U);
  ASSERT_EQ(list.count, 1U);
  EXPECT_STREQ(list.items[0], "c");
  EXPECT_EQ(library_->Enum(1, &list), 0U);
  EXPECT_EQ(list.count, 0U);
  EXPECT_THAT(list.items, IsNull());
}

// --- serialized blocks

TEST_F(CallsTest, SetSerializedSendsTheBlock) {
  Bytes data{0, 1, 0xFF, 3};
  std::string name = "block";
  const ZorBlob blob{name.data(), 4, data.data()};
  EXPECT_EQ(library_->SetSerialized(kHandle, &blob), 0U);
  const Request request = Sent("ZorIntfSetSerialized");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_HANDLE, CallMessage::VT_BLOB_PARAM));
  EXPECT_EQ(request->handle(), kHandle);
  EXPECT_EQ(request->blob_param()->name()->str(), "block");
  EXPECT_EQ(request->blob_param()->size(), 4U);
  EXPECT_THAT(*request->blob_param()->data(), ElementsAre(0, 1, 0xFF, 3));
}

TEST_F(CallsTest, SetSerializedOfNothingSendsAnEmptyVectorAndNoSize) {
  const ZorBlob blob{nullptr, 0, nullptr};
  EXPECT_EQ(library_->SetSerialized(kHandle, &blob), 0U);
  const Request request = Sent("ZorIntfSetSerialized");
  EXPECT_THAT(Request::FieldsOf(request->blob_param()), ElementsAre(BlobParam::VT_DATA));
  EXPECT_EQ(request->blob_param()->data()->size(), 0U);
}

TEST_F(CallsTest, SetSerializedOfAMebibyteArrivesWhole) {
  constexpr std::uint32_t kMebibyte = 1 << 20;
  Bytes data(kMebibyte);
  for (std::size_t i = 0; i < data.size(); ++i)
    data[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  std::string name = "block";
  const ZorBlob blob{name.data(), kMebibyte, data.data()};
  EXPECT_EQ(library_->SetSerialized(kHandle, &blob), 0U);
  const Request request = Sent("ZorIntfSetSerialized");
  EXPECT_EQ(request->blob_param()->size(), kMebibyte);
  const auto* sent = request->blob_param()->data();
  EXPECT_EQ(Bytes(sent->begin(), sent->end()), data);
}

TEST_F(CallsTest, GetSerializedHandsOutMemoryOfTheCommonHeap) {
  server_.Answer(BlobReply("another", 3, Bytes{7, 8, 9}));
  std::string name = "block";
  const ZorBlob input{name.data(), 0, nullptr};
  ZorBlob output{};
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output), 0U);
  EXPECT_STREQ(output.name, "block");
  EXPECT_NE(output.name, name.data());
  ASSERT_EQ(output.size, 3U);
  EXPECT_EQ(Bytes(output.data, output.data + 3), (Bytes{7, 8, 9}));

  const Request request = Sent("ZorIntfGetSerialized");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_HANDLE, CallMessage::VT_BLOB_PARAM));
  EXPECT_THAT(Request::FieldsOf(request->blob_param()), ElementsAre(BlobParam::VT_NAME));

  // This program's own free(), of the same runtime: the block is its heap's, and of that size.
  EXPECT_EQ(_msize(output.data), 3U);
  EXPECT_EQ(_msize(output.name), name.size() + 1);
  std::free(output.data);
  std::free(output.name);
}

TEST_F(CallsTest, GetSerializedSendsTheInputsBytes) {
  Bytes data{5, 6};
  std::string name = "block";
  const ZorBlob input{name.data(), 2, data.data()};
  ZorBlob output{};
  EXPECT_EQ(library_->GetSerialized(0, &input, &output), 0U);
  const Request request = Sent("ZorIntfGetSerialized");
  EXPECT_THAT(request.Fields(), ElementsAre(CallMessage::VT_FUNC_NAME, CallMessage::VT_STATUS,
                                            CallMessage::VT_BLOB_PARAM));
  EXPECT_EQ(request->blob_param()->size(), 2U);
  EXPECT_THAT(*request->blob_param()->data(), ElementsAre(5, 6));
}

TEST_F(CallsTest, GetSerializedWithoutABlockInTheReplyLeavesTheOutput) {
  std::string name = "block";
  const ZorBlob input{name.data(), 0, nullptr};
  ZorBlob output{name.data(), 77, nullptr};
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output), 0U);
  EXPECT_EQ(output.name, name.data());
  EXPECT_EQ(output.size, 77U);
  EXPECT_THAT(output.data, IsNull());
}

TEST_F(CallsTest, GetSerializedThatTheServerRefusesLeavesTheOutputNull) {
  server_.Answer(FullReply(6));
  std::string name = "block";
  const ZorBlob input{name.data(), 0, nullptr};
  ZorBlob output{};
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output), 6U);
  EXPECT_THAT(output.name, IsNull());
  EXPECT_EQ(output.size, 0U);
  EXPECT_THAT(output.data, IsNull());
}

TEST_F(CallsTest, GetSerializedOfABlockWithoutASizeGivesAnEmptyBlock) {
  server_.Answer(BlobReply("block", 0, Bytes{1, 2, 3}));
  std::string name = "block";
  const ZorBlob input{name.data(), 0, nullptr};
  ZorBlob output{};
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output), 0U);
  EXPECT_EQ(output.size, 0U);
  ASSERT_THAT(output.data, NotNull());
  EXPECT_EQ(_msize(output.data), 0U);
  std::uint8_t* const released = output.data;
  EXPECT_EQ(library_->FreeSerialized(kHandle, &output), 0U);
  EXPECT_EQ(output.data, released);
  std::free(output.name);
}

TEST_F(CallsTest, GetSerializedWithoutANameHandsBackNone) {
  server_.Answer(BlobReply("block", 1, Bytes{1}));
  const ZorBlob input{nullptr, 0, nullptr};
  ZorBlob output{};
  EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output), 0U);
  EXPECT_THAT(output.name, IsNull());
  EXPECT_THAT(Request::FieldsOf(Sent("ZorIntfGetSerialized")->blob_param()), IsEmpty());
  EXPECT_EQ(library_->FreeSerialized(kHandle, &output), 0U);
}

TEST_F(CallsTest, GetSerializedOfABlockThatClaimsMoreThanItBringsFails) {
  server_.Answer(BlobReply("block", 4, Bytes{1, 2, 3}));
  server_.Answer(BlobReply("block", 4, std::nullopt));
  std::string name = "block";
  const ZorBlob input{name.data(), 0, nullptr};
  for (int i = 0; i < 2; ++i) {
    ZorBlob output{};
    EXPECT_EQ(library_->GetSerialized(kHandle, &input, &output), 1U);
    EXPECT_THAT(output.name, IsNull());
    EXPECT_THAT(output.data, IsNull());
  }
}

TEST_F(CallsTest, FreeSerializedSendsNothingAndTouchesNothing) {
  std::string name = "block";
  ZorBlob blob{name.data(), 5, nullptr};
  EXPECT_EQ(library_->FreeSerialized(kHandle, &blob), 0U);
  EXPECT_EQ(blob.name, name.data());
  EXPECT_EQ(blob.size, 5U);
  EXPECT_THAT(blob.data, IsNull());

  blob.data = static_cast<std::uint8_t*>(std::malloc(5));
  std::uint8_t* const released = blob.data;
  EXPECT_EQ(library_->FreeSerialized(0, &blob), 0U);
  EXPECT_EQ(blob.data, released);
  EXPECT_EQ(blob.size, 5U);
  EXPECT_THAT(server_.Requests(), IsEmpty());
}

// --- all remote calls alike

struct RemoteExport {
  const char* name;
  const char* log_tag;
  ZorResult (*call)(const Exports& exports);
};

void PrintTo(const RemoteExport& tested, std::ostream* stream) { *stream << tested.name; }

/// Where all calls put their outputs, prepared with values that no reply brings.
struct Outputs {
  ZorServerInfo info{11, 12, 13, 14};
  std::uint32_t handle = 15;
  std::uint32_t status = 16;
  ZorFloatParam set{"gain", 17};
  ZorFloatParam get{"gain", 18};
  ZorNameList list{0, nullptr};
  ZorBlob blob{nullptr, 19, nullptr};
};

// One set for all: the calls below are plain functions.
Outputs outputs;
constexpr ZorTextParam kText{"name", "value"};
constexpr ZorBlob kBlob{nullptr, 0, nullptr};

const RemoteExport kRemoteExports[] = {
    {"GetInfo", "RpcClient::ZorIntfGetInfo",
     [](const Exports& e) { return e.GetInfo(&outputs.info); }},
    {"Enum", "RpcClient::ZorIntfEnum", [](const Exports& e) { return e.Enum(1, &outputs.list); }},
    {"Create", "RpcClient::ZorIntfCreate",
     [](const Exports& e) { return e.Create(&outputs.handle, &kText); }},
    {"Config", "RpcClient::ZorIntfConfig", [](const Exports& e) { return e.Config(1, &kText); }},
    {"GetStatus", "RpcClient::ZorIntfGetStatus",
     [](const Exports& e) { return e.GetStatus(1, &outputs.status); }},
    {"Destroy", "ZorIntfDestroy", [](const Exports& e) { return e.Destroy(1); }},
    {"Start", "ZorIntfStart", [](const Exports& e) { return e.Start(1); }},
    {"Stop", "ZorIntfStop", [](const Exports& e) { return e.Stop(1); }},
    {"Set", "ZorIntfSet", [](const Exports& e) { return e.Set(1, &outputs.set); }},
    {"Get", "ZorIntfGet", [](const Exports& e) { return e.Get(1, &outputs.get); }},
    {"SetSerialized", "ZorIntfSetSerialized",
     [](const Exports& e) { return e.SetSerialized(1, &kBlob); }},
    {"GetSerialized", "ZorIntfGetSerialized",
     [](const Exports& e) { return e.GetSerialized(1, &kBlob, &outputs.blob); }},
};

class EveryRemoteCall : public ::testing::TestWithParam<RemoteExport> {
 protected:
  void SetUp() override { outputs = {}; }

  static void ExpectOutputsUntouched() {
    const Outputs fresh;
    EXPECT_EQ(outputs.info.info0, fresh.info.info0);
    EXPECT_EQ(outputs.info.info3, fresh.info.info3);
    EXPECT_EQ(outputs.handle, fresh.handle);
    EXPECT_EQ(outputs.status, fresh.status);
    EXPECT_EQ(outputs.set.value, fresh.set.value);
    EXPECT_EQ(outputs.get.value, fresh.get.value);
    EXPECT_EQ(outputs.list.count, fresh.list.count);
    EXPECT_THAT(outputs.list.items, IsNull());
    EXPECT_EQ(outputs.blob.size, fresh.blob.size);
    EXPECT_THAT(outputs.blob.name, IsNull());
    EXPECT_THAT(outputs.blob.data, IsNull());
  }

  static std::string Tagged(const char* text) {
    return std::string("[zor] [") + GetParam().log_tag + text;
  }

  const DebugCapture log_;
  const LoadedLibrary library_;
};

TEST_P(EveryRemoteCall, WithoutAServerIsTwoAndSaysWhy) {
  EXPECT_EQ(GetParam().call(*library_.operator->()), 2U);
  ExpectOutputsUntouched();
  EXPECT_THAT(log_.Mine(), ElementsAre("[zor] Error occurred while connecting to the server: 2\n"));
}

TEST_P(EveryRemoteCall, ASuccessLogsNothing) {
  RequestServer server;
  EXPECT_EQ(GetParam().call(*library_.operator->()), 0U);
  EXPECT_EQ(GetParam().call(*library_.operator->()), 0U);
  // The one line is the connecting's, which the second call does not repeat.
  EXPECT_THAT(log_.Mine(), ElementsAre("[zor] ConnectToServer() was successful.\n"));
  EXPECT_EQ(server.Requests().size(), 2U);
}

TEST_P(EveryRemoteCall, TheServersResultIsReturnedAndLoggedAndNothingIsCopied) {
  RequestServer server;
  server.Answer(FullReply(3));
  server.Answer(FullReply(0xFFFFFFFE));
  EXPECT_EQ(GetParam().call(*library_.operator->()), 3U);
  EXPECT_EQ(GetParam().call(*library_.operator->()), 0xFFFFFFFEU);
  ExpectOutputsUntouched();
  EXPECT_THAT(log_.Mine(), ElementsAre("[zor] ConnectToServer() was successful.\n",
                                       Tagged("] The ZorRet: 3\n"), Tagged("] The ZorRet: -2\n")));
}

TEST_P(EveryRemoteCall, AnInvalidReplyIsOneAndSaysSo) {
  RequestServer server;
  Bytes cut = FullReply(0);
  cut.resize(cut.size() / 2);
  server.Answer(cut);
  EXPECT_EQ(GetParam().call(*library_.operator->()), 1U);
  ExpectOutputsUntouched();
  EXPECT_THAT(log_.Mine(), ElementsAre("[zor] ConnectToServer() was successful.\n",
                                       Tagged("] The IPC gotten data is invalid\n")));
}

TEST_P(EveryRemoteCall, AConnectionThatEndsUnansweredIsOneAndLogsNothing) {
  RequestServer server;
  server.HangUp();
  EXPECT_EQ(GetParam().call(*library_.operator->()), 1U);
  ExpectOutputsUntouched();
  EXPECT_THAT(log_.Mine(), ElementsAre("[zor] ConnectToServer() was successful.\n"));
}

TEST_P(EveryRemoteCall, SendsNothingButItsOneRequest) {
  RequestServer server;
  EXPECT_EQ(GetParam().call(*library_.operator->()), 0U);
  const Request request(server.OnlyRequest());
  EXPECT_EQ(request->func_name()->str(), std::string("ZorIntf") + GetParam().name);
  EXPECT_EQ(request->status(), 7);
}

INSTANTIATE_TEST_SUITE_P(Exports, EveryRemoteCall, ::testing::ValuesIn(kRemoteExports));

}  // namespace
}  // namespace zor::testing
