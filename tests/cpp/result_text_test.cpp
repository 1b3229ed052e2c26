// The texts of the results, in C and in C++.
#include "tests/cpp/result_text.h"

#include <gtest/gtest.h>

#include "interface/zor.hpp"

namespace zor {
namespace {

TEST(ResultText, IsTheSameInCAndInCpp) {
  for (const ZorResult result : {0U, 1U, 2U, 3U, 4U, 9U, 10U, 77U, 1024U, 4294967295U}) {
    EXPECT_EQ(MakeErrorCode(result).message(), result_text_in_c(result));
  }
}

TEST(ResultText, NamesAResultOfTheServersOwn) {
  EXPECT_STREQ(result_text_in_c(4), "the server returned 4");
  EXPECT_STREQ(result_text_in_c(100), "the server returned 100");
  EXPECT_STREQ(result_text_in_c(4294967295U), "the server returned 4294967295");
}

TEST(ResultText, FillsTheBufferAtMost) {
  EXPECT_EQ(std::string(result_text_in_c(4294967295U)).size() + 1, ZOR_RESULT_TEXT_SIZE - 1U);
}

}  // namespace
}  // namespace zor
