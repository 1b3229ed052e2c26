// What the calls do to the instances, and which notifications they raise.
#include "simulator/instance_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/unit/simulator/support.h"

namespace zor::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kNobody = 99;

class InstanceModelTest : public ::testing::Test {
 protected:
  std::uint32_t Create(const char* algorithm = "general") {
    std::uint32_t handle = 0;
    EXPECT_EQ(model_.Create(algorithm, handle), Result::kSuccess);
    return handle;
  }

  std::uint32_t CreateIn(State state) {
    const std::uint32_t handle = Create();
    if (state != State::kCreated) {
      EXPECT_EQ(model_.Configure(handle), Result::kSuccess);
    }
    if (state == State::kStarted || state == State::kStopped) {
      EXPECT_EQ(model_.Start(handle), Result::kSuccess);
    }
    if (state == State::kStopped) {
      EXPECT_EQ(model_.Stop(handle), Result::kSuccess);
    }
    static_cast<void>(model_.TakeRaised());
    return handle;
  }

  State StateOf(std::uint32_t handle) {
    State state{};
    EXPECT_EQ(model_.GetState(handle, state), Result::kSuccess);
    return state;
  }

  float ValueOf(std::uint32_t handle, const char* name) {
    float value = -1;
    EXPECT_EQ(model_.GetParameter(handle, name, value), Result::kSuccess);
    return value;
  }

  Bytes BlobOf(std::uint32_t handle, const char* name) {
    std::span<const std::uint8_t> data;
    EXPECT_EQ(model_.FindBlob(handle, name, data), Result::kSuccess);
    return {data.begin(), data.end()};
  }

  Scenario scenario_ = SmallScenario();
  InstanceModel model_{scenario_};
};

TEST_F(InstanceModelTest, HandlesCountUpFromOneAndAreNotUsedAgain) {
  EXPECT_EQ(Create(), 1U);
  EXPECT_EQ(Create(), 2U);
  EXPECT_EQ(model_.Destroy(2), Result::kSuccess);
  EXPECT_EQ(Create(), 3U);
  EXPECT_EQ(model_.size(), 2U);
}

TEST(ExistingInstances, AreThereFromTheStart) {
  Scenario scenario = SmallScenario();
  scenario.instances = {{.handle = 2, .status = 3, .parameters = {{"gain", 0.5F}}},
                        {.handle = 3, .status = 200, .parameters = {}}};
  InstanceModel model(scenario);
  State state{};
  EXPECT_EQ(model.GetState(2, state), Result::kSuccess);
  EXPECT_EQ(state, State::kStarted);
  EXPECT_EQ(model.GetState(3, state), Result::kSuccess);
  EXPECT_EQ(static_cast<int>(state), 200);
  float value = 0;
  EXPECT_EQ(model.GetParameter(2, "gain", value), Result::kSuccess);
  EXPECT_EQ(value, 0.5F);
  EXPECT_EQ(model.GetParameter(3, "gain", value), Result::kSuccess);
  EXPECT_EQ(value, 1.0F);
  EXPECT_THAT(model.TakeRaised(), IsEmpty());
  // New ones get the handles that are free.
  std::uint32_t handle = 0;
  EXPECT_EQ(model.Create("general", handle), Result::kSuccess);
  EXPECT_EQ(handle, 1U);
  scenario.limits.instances = 4;
  EXPECT_EQ(model.Create("general", handle), Result::kSuccess);
  EXPECT_EQ(handle, 4U);
  // The last one that runs stops.
  static_cast<void>(model.TakeRaised());
  EXPECT_EQ(model.Stop(2), Result::kSuccess);
  EXPECT_EQ(model.TakeRaised().back(), (Notification{.type = 0, .flag = false}));
  EXPECT_EQ(model.Configure(3), Result::kSuccess);
}

TEST_F(InstanceModelTest, CreateWantsAnAlgorithmOfTheList) {
  std::uint32_t handle = 7;
  EXPECT_EQ(model_.Create("General", handle), Result::kUnknownAlgorithm);
  EXPECT_EQ(model_.Create("", handle), Result::kUnknownAlgorithm);
  EXPECT_EQ(model_.Create("speaker", handle), Result::kUnknownAlgorithm);
  EXPECT_EQ(handle, 7U);
  EXPECT_THAT(model_.TakeRaised(), IsEmpty());
}

TEST_F(InstanceModelTest, CreateStopsAtTheLimit) {
  for (int i = 0; i < 3; ++i) Create();
  std::uint32_t handle = 0;
  EXPECT_EQ(model_.Create("general", handle), Result::kTooManyInstances);
  EXPECT_EQ(model_.Destroy(1), Result::kSuccess);
  EXPECT_EQ(model_.Create("general", handle), Result::kSuccess);
}

struct Transition {
  State from;
  Result configure, start, stop, destroy;
};

void PrintTo(const Transition& row, std::ostream* out) { *out << StateName(row.from); }

class StateTest : public InstanceModelTest, public ::testing::WithParamInterface<Transition> {};

TEST_P(StateTest, AllowsWhatTheDiagramAllows) {
  const Transition& row = GetParam();
  const auto after = [&](Result result, State next) {
    return result == Result::kSuccess ? next : row.from;
  };
  scenario_.limits.instances = 10;
  std::uint32_t handle = CreateIn(row.from);
  EXPECT_EQ(model_.Configure(handle), row.configure);
  EXPECT_EQ(StateOf(handle), after(row.configure, State::kConfigured));

  handle = CreateIn(row.from);
  EXPECT_EQ(model_.Start(handle), row.start);
  EXPECT_EQ(StateOf(handle), after(row.start, State::kStarted));

  handle = CreateIn(row.from);
  EXPECT_EQ(model_.Stop(handle), row.stop);
  EXPECT_EQ(StateOf(handle), after(row.stop, State::kStopped));

  handle = CreateIn(row.from);
  EXPECT_EQ(model_.Destroy(handle), row.destroy);
  State state{};
  EXPECT_EQ(model_.GetState(handle, state),
            row.destroy == Result::kSuccess ? Result::kNoSuchInstance : Result::kSuccess);
}

constexpr Result kOk = Result::kSuccess;
constexpr Result kNo = Result::kWrongState;

INSTANTIATE_TEST_SUITE_P(EachState, StateTest,
                         ::testing::Values(Transition{State::kCreated, kOk, kNo, kNo, kOk},
                                           Transition{State::kConfigured, kOk, kOk, kNo, kOk},
                                           Transition{State::kStarted, kNo, kNo, kOk, kNo},
                                           Transition{State::kStopped, kOk, kOk, kNo, kOk}),
                         [](const auto& state) { return StateName(state.param.from); });

TEST_F(InstanceModelTest, TheStatusBytesAreFixed) {
  EXPECT_EQ(static_cast<int>(State::kCreated), 1);
  EXPECT_EQ(static_cast<int>(State::kConfigured), 2);
  EXPECT_EQ(static_cast<int>(State::kStarted), 3);
  EXPECT_EQ(static_cast<int>(State::kStopped), 4);
}

TEST_F(InstanceModelTest, EveryCallWantsAnInstance) {
  Create();
  static_cast<void>(model_.TakeRaised());
  State state{};
  float value = 0;
  std::span<const std::uint8_t> data;
  for (const std::uint32_t handle : {0U, kNobody}) {
    EXPECT_EQ(model_.Configure(handle), Result::kNoSuchInstance);
    EXPECT_EQ(model_.Start(handle), Result::kNoSuchInstance);
    EXPECT_EQ(model_.Stop(handle), Result::kNoSuchInstance);
    EXPECT_EQ(model_.Destroy(handle), Result::kNoSuchInstance);
    EXPECT_EQ(model_.GetState(handle, state), Result::kNoSuchInstance);
    EXPECT_EQ(model_.SetParameter(handle, "gain", 1), Result::kNoSuchInstance);
    EXPECT_EQ(model_.GetParameter(handle, "gain", value), Result::kNoSuchInstance);
    EXPECT_EQ(model_.StoreBlob(handle, "preset", {}), Result::kNoSuchInstance);
    EXPECT_EQ(model_.FindBlob(handle, "preset", data), Result::kNoSuchInstance);
  }
  EXPECT_THAT(model_.TakeRaised(), IsEmpty());
}

TEST_F(InstanceModelTest, EachChangeRaisesItsNotifications) {
  const std::uint32_t handle = Create();
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 1, .value = handle},
                          Notification{.type = 5, .value = handle, .text = "created"}));
  EXPECT_EQ(model_.Configure(handle), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 5, .value = handle, .text = "configured"}));
  EXPECT_EQ(model_.Start(handle), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 5, .value = handle, .text = "started"},
                          Notification{.type = 0, .flag = true}));
  EXPECT_EQ(model_.Stop(handle), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 5, .value = handle, .text = "stopped"},
                          Notification{.type = 0, .flag = false}));
  EXPECT_EQ(model_.Destroy(handle), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(), ElementsAre(Notification{.type = 3, .value = handle}));
}

TEST_F(InstanceModelTest, OnlyTheFirstStartAndTheLastStopTellThatAnythingRuns) {
  const std::uint32_t one = CreateIn(State::kStarted);
  const std::uint32_t two = CreateIn(State::kConfigured);
  EXPECT_EQ(model_.Start(two), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 5, .value = two, .text = "started"}));
  EXPECT_EQ(model_.Stop(one), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 5, .value = one, .text = "stopped"}));
  EXPECT_EQ(model_.Stop(two), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 5, .value = two, .text = "stopped"},
                          Notification{.type = 0, .flag = false}));
}

TEST_F(InstanceModelTest, ParametersBelongToTheInstance) {
  const std::uint32_t one = Create();
  const std::uint32_t two = Create();
  EXPECT_EQ(model_.SetParameter(one, "gain", 2.5F), Result::kSuccess);
  EXPECT_EQ(ValueOf(one, "gain"), 2.5F);
  EXPECT_EQ(ValueOf(two, "gain"), 1.0F);
  EXPECT_EQ(ValueOf(two, "free"), -2.5F);
  EXPECT_EQ(ValueOf(two, "latency"), 480.0F);
}

TEST_F(InstanceModelTest, ASetTellsTheNameAndWhetherTheValueIsNotZero) {
  const std::uint32_t handle = CreateIn(State::kCreated);
  EXPECT_EQ(model_.SetParameter(handle, "gain", 0.5F), Result::kSuccess);
  EXPECT_EQ(model_.SetParameter(handle, "gain", 0), Result::kSuccess);
  EXPECT_EQ(model_.SetParameter(handle, "gain", -0.0F), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 4, .flag = true, .text = "gain"},
                          Notification{.type = 4, .flag = false, .text = "gain"},
                          Notification{.type = 4, .flag = false, .text = "gain"}));
}

TEST_F(InstanceModelTest, ARangeIncludesItsEndsAndNoNan) {
  const std::uint32_t handle = CreateIn(State::kCreated);
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (const float inside : {0.0F, 4.0F}) {
    EXPECT_EQ(model_.SetParameter(handle, "gain", inside), Result::kSuccess);
  }
  static_cast<void>(model_.TakeRaised());
  for (const float outside : {-0.001F, 4.001F, kInfinity, -kInfinity, kNan}) {
    EXPECT_EQ(model_.SetParameter(handle, "gain", outside), Result::kValueOutOfRange) << outside;
  }
  EXPECT_EQ(ValueOf(handle, "gain"), 4.0F);
  EXPECT_THAT(model_.TakeRaised(), IsEmpty());
  EXPECT_EQ(model_.SetParameter(handle, "free", kNan), Result::kSuccess);
  EXPECT_TRUE(std::isnan(ValueOf(handle, "free")));
}

TEST_F(InstanceModelTest, UnknownAndReadOnlyParametersAreRefused) {
  const std::uint32_t handle = CreateIn(State::kCreated);
  float value = 0;
  EXPECT_EQ(model_.SetParameter(handle, "Gain", 1), Result::kNoSuchParameter);
  EXPECT_EQ(model_.GetParameter(handle, "", value), Result::kNoSuchParameter);
  EXPECT_EQ(model_.SetParameter(handle, "latency", 480), Result::kReadOnly);
  EXPECT_THAT(model_.TakeRaised(), IsEmpty());
}

TEST_F(InstanceModelTest, TheAlgorithmParameterIsAPositionInTheList) {
  const std::uint32_t handle = Create("whisper");
  static_cast<void>(model_.TakeRaised());
  EXPECT_EQ(ValueOf(handle, "supproted_algo_name"), 2.0F);
  EXPECT_EQ(model_.SetParameter(handle, "supproted_algo_name", 1), Result::kSuccess);
  EXPECT_EQ(ValueOf(handle, "supproted_algo_name"), 1.0F);
  EXPECT_THAT(model_.TakeRaised(),
              ElementsAre(Notification{.type = 4, .flag = true, .text = "supproted_algo_name"}));
  for (const float nothing : {3.0F, -1.0F, 0.5F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(model_.SetParameter(handle, "supproted_algo_name", nothing),
              Result::kUnknownAlgorithm)
        << nothing;
  }
  EXPECT_EQ(ValueOf(handle, "supproted_algo_name"), 1.0F);
  EXPECT_THAT(model_.TakeRaised(), IsEmpty());
}

TEST_F(InstanceModelTest, BlobsBelongToTheInstance) {
  const std::uint32_t one = Create();
  const std::uint32_t two = Create();
  const Bytes bytes = {9, 8};
  EXPECT_EQ(model_.StoreBlob(one, "preset", bytes), Result::kSuccess);
  EXPECT_EQ(BlobOf(one, "preset"), bytes);
  EXPECT_EQ(BlobOf(two, "preset"), (Bytes{1, 2, 3}));
  EXPECT_THAT(BlobOf(two, "empty"), IsEmpty());
  std::span<const std::uint8_t> data;
  EXPECT_EQ(model_.FindBlob(one, "Preset", data), Result::kNoSuchBlob);
}

TEST_F(InstanceModelTest, AStoredBlobTellsWhetherItHasBytes) {
  const std::uint32_t handle = CreateIn(State::kCreated);
  EXPECT_EQ(model_.StoreBlob(handle, "new", Bytes{1}), Result::kSuccess);
  EXPECT_EQ(model_.StoreBlob(handle, "new", Bytes{}), Result::kSuccess);
  EXPECT_THAT(model_.TakeRaised(), ElementsAre(Notification{.type = 2, .flag = true},
                                               Notification{.type = 2, .flag = false}));
  EXPECT_THAT(BlobOf(handle, "new"), IsEmpty());
}

TEST_F(InstanceModelTest, BlobsHaveLimits) {
  const std::uint32_t handle = CreateIn(State::kCreated);
  EXPECT_EQ(model_.StoreBlob(handle, "third", Bytes(2000)), Result::kSuccess);
  EXPECT_EQ(model_.StoreBlob(handle, "", Bytes(2001)), Result::kTooLarge);
  EXPECT_EQ(model_.StoreBlob(handle, "", Bytes{1}), Result::kSuccess);
  EXPECT_EQ(model_.StoreBlob(handle, "fifth", Bytes{1}), Result::kTooManyBlobs);
  EXPECT_EQ(model_.StoreBlob(handle, "third", Bytes{1}), Result::kSuccess);
  EXPECT_EQ(BlobOf(handle, "third"), Bytes{1});
}

}  // namespace
}  // namespace zor::sim
