// Texts and bytes in each form that an application may have them in.
#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/cpp/client_test.h"

namespace zor::scripted {
namespace {

using ::testing::ElementsAre;

class Arguments : public ClientTest {
 protected:
  [[nodiscard]] std::string SentName() const { return LastRequest()->text_param()->name()->str(); }

  [[nodiscard]] std::vector<std::uint8_t> SentBytes() const {
    const auto* data = LastRequest()->blob_param()->data();
    return {data->begin(), data->end()};
  }

  void TearDown() override {
    instance_.Abandon();
    ClientTest::TearDown();
  }

  Instance instance_ = MakeInstance();
};

TEST_F(Arguments, ATextIsOfAnyKindOfString) {
  const std::string text = "rate";
  instance_.Config(text, "48000");
  EXPECT_EQ(SentName(), "rate");
  instance_.Config(std::string("of a temporary"), "");
  EXPECT_EQ(SentName(), "of a temporary");
  instance_.Config("literal", text);
  EXPECT_EQ(SentName(), "literal");
  EXPECT_EQ(LastRequest()->text_param()->value()->str(), "rate");
}

TEST_F(Arguments, AViewIsEndedWhereItEnds) {
  const std::string_view view = std::string_view("rates").substr(0, 4);
  instance_.Config(view, nullptr);
  EXPECT_EQ(SentName(), "rate");
  EXPECT_EQ(instance_.Set(view, 0.5F), 0.5F);
  EXPECT_EQ(LastRequest()->float_param()->name()->str(), "rate");
}

TEST_F(Arguments, ANullTextIsLeftOut) {
  instance_.Config(nullptr, "48000");
  EXPECT_EQ(LastRequest()->text_param()->name(), nullptr);
  const char* const none = nullptr;
  instance_.Config("rate", none);
  EXPECT_EQ(LastRequest()->text_param()->value(), nullptr);
}

TEST_F(Arguments, ABlockIsOfAnyContiguousRange) {
  const std::array<std::uint8_t, 2> array = {1, 2};
  instance_.SetSerialized("preset", array);
  EXPECT_THAT(SentBytes(), ElementsAre(1, 2));
  instance_.SetSerialized("preset", std::vector<std::uint8_t>{3, 4, 5});
  EXPECT_THAT(SentBytes(), ElementsAre(3, 4, 5));
  instance_.SetSerialized("preset", std::span(array).first(1));
  EXPECT_THAT(SentBytes(), ElementsAre(1));
  instance_.SetSerialized("preset", std::array{std::byte{6}, std::byte{7}});
  EXPECT_THAT(SentBytes(), ElementsAre(6, 7));
  const std::uint8_t plain[] = {8, 9};  // NOLINT(*-avoid-c-arrays): that is what is tried
  std::error_code error;
  instance_.SetSerialized("preset", plain, error);
  EXPECT_FALSE(error);
  EXPECT_THAT(SentBytes(), ElementsAre(8, 9));
}

TEST_F(Arguments, ABlockThatWasFetchedCanBeSent) {
  answer_.blob_result = Reply::Block{.name = "preset", .size = 2, .data = Bytes{7, 8}};
  const Blob blob = instance_.GetSerialized(std::string_view("preset"), std::array{std::byte{1}});
  EXPECT_THAT(SentBytes(), ElementsAre(1));
  instance_.SetSerialized("preset", blob);
  EXPECT_THAT(SentBytes(), ElementsAre(7, 8));
}

}  // namespace
}  // namespace zor::scripted
