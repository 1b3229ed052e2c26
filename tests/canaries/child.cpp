// A canary whose child fails: it ends with a status of which Wine hands on a 0.
#include <gtest/gtest.h>

#include "tests/integration/support/child_process.h"

namespace {

TEST(Canary, ChildFails) {
  zor::testing::ChildProcess child(L"canaries.exe",
                                   L"--gtest_filter=Canary.EndsWithAStatusOfMoreThanEightBits");
  EXPECT_EQ(child.Wait(), 0U);
}

}  // namespace
