// The parameter that holds an algorithm: ZorIntfSet and ZorIntfGet translate its value between the
// application's ids and the server's.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tests/rig/rig.h"

namespace zor::rig {
namespace {

using ::testing::IsEmpty;
using testing::Request;
using ::testing::SizeIs;

constexpr const char* kAlgorithm = "supproted_algo_name";
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

class AlgorithmIds : public ::testing::Test {
 protected:
  /// The server has "general", "private" and "whisper", of which this machine lacks "private".
  void Enumerate() {
    machine_.InstallDriver(L"1.0.0.5");
    const auto package = machine_.AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
    machine_.AddLibrary(package, L"K270502.dll");
    machine_.AddLibrary(package, L"K030806.dll");
    EnumerateAgain();
    sent_ = server_.Requests().size();
  }
  void EnumerateAgain() {
    server_.Answer(testing::ListOf({"general", "private", "whisper"}));
    ZorNameList list = {};
    ASSERT_EQ(library_->Enum(2, &list), ZOR_SUCCESS);
    server_.Answer(Reply{});
    ASSERT_EQ(library_->Enum(0, &list), ZOR_SUCCESS);  // frees the list, and leaves the ids
    sent_ = server_.Requests().size();
  }

  /// What was sent since the enumeration.
  std::vector<Bytes> Sent() const {
    const auto requests = server_.Requests();
    return {requests.begin() + static_cast<std::ptrdiff_t>(sent_), requests.end()};
  }
  float SentValue() const { return Request(Sent().at(0))->float_param()->value(); }

  ZorResult Set(float value) {
    param_.value = value;
    return library_->Set(5, &param_);
  }
  ZorResult Get(float value) {
    param_.value = value;
    return library_->Get(5, &param_);
  }

  Rig rig_;
  Machine machine_;
  RequestServer server_;
  Library library_;
  ZorFloatParam param_ = {kAlgorithm, 0};
  std::size_t sent_ = 0;
};

TEST_F(AlgorithmIds, SetBeforeAnyEnumerationReturns3AndSendsNothing) {
  EXPECT_EQ(Set(1), ZOR_UNKNOWN_ALGORITHM);
  EXPECT_EQ(param_.value, 1);
  EXPECT_THAT(server_.Requests(), IsEmpty());
  EXPECT_EQ(server_.connections(), 0);
}

TEST_F(AlgorithmIds, SetOfAnIdThatNoAlgorithmHasReturns3AndSendsNothing) {
  Enumerate();
  for (const float value :
       {1.0F, 3.0F, 0.5F, -2.0F, std::numeric_limits<float>::infinity(), kNan}) {
    EXPECT_EQ(Set(value), ZOR_UNKNOWN_ALGORITHM) << value;
    EXPECT_TRUE(param_.value == value || std::isnan(value));
  }
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(AlgorithmIds, SetSendsTheServersIdAndLeavesItInTheRecord) {
  Enumerate();
  EXPECT_EQ(Set(2), ZOR_SUCCESS);
  EXPECT_EQ(SentValue(), 2);
  EXPECT_EQ(param_.value, 2);
}

TEST_F(AlgorithmIds, SetOfMinus1SendsTheFirstAlgorithmThatIsAbsentLocally) {
  Enumerate();
  EXPECT_EQ(Set(-1), ZOR_SUCCESS);
  EXPECT_EQ(SentValue(), 1);
  EXPECT_EQ(param_.value, 1);
}

TEST_F(AlgorithmIds, SetTakesTheValueThatTheReplyEchoes) {
  Enumerate();
  server_.Answer(Reply{.float_param = 7.0F});
  EXPECT_EQ(Set(2), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, 7);
}

TEST_F(AlgorithmIds, SetHasTranslatedTheRecordWhenTheServerRefuses) {
  Enumerate();
  server_.Answer(testing::FullReply(4));
  EXPECT_EQ(Set(-1), 4U);
  EXPECT_EQ(param_.value, 1);
}

TEST_F(AlgorithmIds, GetTranslatesTheServersId) {
  Enumerate();
  server_.Answer(Reply{.float_param = 2.0F});
  EXPECT_EQ(Get(0), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, 2);
}

TEST_F(AlgorithmIds, GetOfAnAlgorithmThatIsAbsentLocallyIsMinus1) {
  Enumerate();
  server_.Answer(Reply{.float_param = 1.0F});
  EXPECT_EQ(Get(0), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, -1);
}

TEST_F(AlgorithmIds, GetOfAnIdThatNoAlgorithmHasReturns3AndLeavesTheServersId) {
  Enumerate();
  server_.Answer(Reply{.float_param = 3.0F});
  EXPECT_EQ(Get(0), ZOR_UNKNOWN_ALGORITHM);
  EXPECT_EQ(param_.value, 3);
}

TEST_F(AlgorithmIds, GetBeforeAnyEnumerationAsksTheServerAndReturns3) {
  server_.Answer(Reply{.float_param = 6.0F});
  EXPECT_EQ(Get(1), ZOR_UNKNOWN_ALGORITHM);
  EXPECT_EQ(param_.value, 6);
  EXPECT_THAT(server_.Requests(), SizeIs(1));
}

TEST_F(AlgorithmIds, GetWhoseReplyHasNoParameterTranslatesTheCallersValue) {
  Enumerate();
  EXPECT_EQ(Get(1), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, -1);
}

TEST_F(AlgorithmIds, GetThatTheServerRefusesTranslatesNothing) {
  for (const bool enumerated : {false, true}) {
    if (enumerated) Enumerate();
    server_.Answer(testing::FullReply(12));
    EXPECT_EQ(Get(1), 12U);
    EXPECT_EQ(param_.value, 1);
  }
}

TEST_F(AlgorithmIds, EveryEnumerationAppendsTheServersList) {
  Enumerate();
  EnumerateAgain();
  // The server's ids are the positions in the list: "whisper" is 2, and now 5 as well.
  for (const float id : {2.0F, 5.0F}) {
    EXPECT_EQ(Set(id), ZOR_SUCCESS) << id;
    EXPECT_EQ(param_.value, 2) << id;
  }
  EXPECT_EQ(Set(4), ZOR_UNKNOWN_ALGORITHM);
  EXPECT_EQ(Set(6), ZOR_UNKNOWN_ALGORITHM);
}

TEST_F(AlgorithmIds, OfAnotherNameAreNotTranslated) {
  Enumerate();
  for (const char* name : {"Supproted_algo_name", "SUPPROTED_ALGO_NAME", "supported_algo_name",
                           "supproted_algo_name ", "supproted_algo_nam", ""}) {
    param_.name = name;
    sent_ = server_.Requests().size();
    EXPECT_EQ(Set(1), ZOR_SUCCESS) << name;
    EXPECT_EQ(SentValue(), 1) << name;
    EXPECT_EQ(Get(1), ZOR_SUCCESS) << name;
    EXPECT_EQ(param_.value, 1) << name;
  }
}

}  // namespace
}  // namespace zor::rig
