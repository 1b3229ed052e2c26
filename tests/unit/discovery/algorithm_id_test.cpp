// The algorithm ids of ZorIntfSet and ZorIntfGet, after an enumeration.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "discovery/algorithm_id_table.h"
#include "tests/support/machine_test.h"

namespace zor {
namespace {

using scripted::ThePipes;
using ::testing::IsEmpty;
using testing::Reply;

class AlgorithmIdTest : public scripted::MachineTest {
 protected:
  /// The server has "general", "private" and "whisper", of which this machine lacks "private".
  void EnumerateAlgorithms() {
    InstallDriver(L"1.0.0.5");
    const auto folder = AddPackageOfVersion(L"zorapo.inf_1", "1.0.0.5");
    AddLibrary(folder, L"K270502.dll");
    AddLibrary(folder, L"K030806.dll");
    ServeAlgorithms({"general", "private", "whisper"});
    ZorNameList list = {};
    ASSERT_EQ(ZorIntfEnum(2, &list), ZOR_SUCCESS);
    AnswerWith(testing::Build(Reply{}));
    ASSERT_EQ(ZorIntfEnum(0, &list), ZOR_SUCCESS);
    static_cast<void>(ThePipes().TakeWritten(kRequestPipe));
  }

  static float SentValue() {
    const auto written = ThePipes().TakeWritten(kRequestPipe);
    if (written.size() != 1) {
      ADD_FAILURE() << written.size() << " requests";
      return std::numeric_limits<float>::quiet_NaN();
    }
    return flatbuffers::GetRoot<messages::CallMessage>(written[0].data())->float_param()->value();
  }

  static void AnswerWithValue(float value, ZorResult result = ZOR_SUCCESS) {
    Reply reply;
    reply.float_param = value;
    reply.result = result;
    AnswerWith(testing::Build(reply));
  }

  ZorFloatParam param_ = {"supproted_algo_name", 0};
};

TEST_F(AlgorithmIdTest, SetBeforeAnyEnumerationIsUnknownAndSendsNothing) {
  AnswerWith(testing::Build(Reply{}));
  EXPECT_EQ(ZorIntfSet(5, &param_), ZOR_UNKNOWN_ALGORITHM);
  EXPECT_EQ(param_.value, 0);
  EXPECT_THAT(ThePipes().TakeWritten(kRequestPipe), IsEmpty());
}

TEST_F(AlgorithmIdTest, SetSendsTheServersIdAndLeavesItInTheRecord) {
  EnumerateAlgorithms();
  param_.value = 2;
  EXPECT_EQ(ZorIntfSet(5, &param_), ZOR_SUCCESS);
  EXPECT_EQ(SentValue(), 2);
  EXPECT_EQ(param_.value, 2);
}

TEST_F(AlgorithmIdTest, SetOfMinusOneSendsTheFirstAbsentAlgorithm) {
  EnumerateAlgorithms();
  param_.value = -1;
  EXPECT_EQ(ZorIntfSet(5, &param_), ZOR_SUCCESS);
  EXPECT_EQ(SentValue(), 1);
  EXPECT_EQ(param_.value, 1);
}

TEST_F(AlgorithmIdTest, SetOfAnAbsentAlgorithmIsUnknown) {
  EnumerateAlgorithms();
  for (const float value : {1.0F, 3.0F, 0.5F, -2.0F, std::numeric_limits<float>::quiet_NaN()}) {
    param_.value = value;
    EXPECT_EQ(ZorIntfSet(5, &param_), ZOR_UNKNOWN_ALGORITHM);
    EXPECT_TRUE(param_.value == value || std::isnan(value));
  }
  EXPECT_THAT(ThePipes().TakeWritten(kRequestPipe), IsEmpty());
}

TEST_F(AlgorithmIdTest, SetThatTheServerEchoesTakesTheServersValue) {
  EnumerateAlgorithms();
  AnswerWithValue(7);
  param_.value = 2;
  EXPECT_EQ(ZorIntfSet(5, &param_), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, 7);
}

TEST_F(AlgorithmIdTest, GetTranslatesTheServersId) {
  EnumerateAlgorithms();
  AnswerWithValue(2);
  EXPECT_EQ(ZorIntfGet(5, &param_), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, 2);
}

TEST_F(AlgorithmIdTest, GetOfAnAbsentAlgorithmIsMinusOne) {
  EnumerateAlgorithms();
  AnswerWithValue(1);
  EXPECT_EQ(ZorIntfGet(5, &param_), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, -1);
}

TEST_F(AlgorithmIdTest, GetOfAnIdThatIsNotInTheTableLeavesIt) {
  EnumerateAlgorithms();
  AnswerWithValue(3);
  EXPECT_EQ(ZorIntfGet(5, &param_), ZOR_UNKNOWN_ALGORITHM);
  EXPECT_EQ(param_.value, 3);
}

TEST_F(AlgorithmIdTest, GetBeforeAnyEnumerationIsUnknownAfterTheServerHasAnswered) {
  AnswerWithValue(1);
  EXPECT_EQ(ZorIntfGet(5, &param_), ZOR_UNKNOWN_ALGORITHM);
  EXPECT_EQ(param_.value, 1);
  EXPECT_EQ(ThePipes().TakeWritten(kRequestPipe).size(), 1U);
}

TEST_F(AlgorithmIdTest, GetWithoutAParameterTranslatesTheCallersValue) {
  EnumerateAlgorithms();
  param_.value = 1;
  EXPECT_EQ(ZorIntfGet(5, &param_), ZOR_SUCCESS);
  EXPECT_EQ(param_.value, -1);
}

TEST_F(AlgorithmIdTest, GetThatFailsTranslatesNothing) {
  EnumerateAlgorithms();
  AnswerWithValue(1, 4);
  param_.value = 2;
  EXPECT_EQ(ZorIntfGet(5, &param_), 4U);
  EXPECT_EQ(param_.value, 2);
}

TEST_F(AlgorithmIdTest, AnotherNameIsNotTranslated) {
  EnumerateAlgorithms();
  for (const char* name :
       {"Supproted_algo_name", "supproted_algo_nam", "supported_algo_name", ""}) {
    param_ = {name, 1};
    EXPECT_EQ(ZorIntfSet(5, &param_), ZOR_SUCCESS) << name;
    EXPECT_EQ(SentValue(), 1);
    EXPECT_EQ(ZorIntfGet(5, &param_), ZOR_SUCCESS) << name;
    EXPECT_EQ(SentValue(), 1);
    EXPECT_EQ(param_.value, 1);
  }
}

}  // namespace
}  // namespace zor
