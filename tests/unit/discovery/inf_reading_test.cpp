// An INF file that fails while it is read.
#include <gtest/gtest.h>

#include <istream>
#include <new>
#include <streambuf>
#include <string>

#include "discovery/inf_file.h"

namespace zor {
namespace {

/// Gives a text, then fails.
class FailingText : public std::streambuf {
 public:
  FailingText(std::string text, void (*fail)()) : text_(std::move(text)), fail_(fail) {
    setg(text_.data(), text_.data(), text_.data() + text_.size());
  }

 protected:
  int_type underflow() override {
    fail_();
    return traits_type::eof();
  }

 private:
  std::string text_;
  void (*fail_)();
};

[[noreturn]] void FailToRead() { throw std::ios_base::failure("unreadable"); }
[[noreturn]] void FindNoMemory() { throw std::bad_alloc(); }

TEST(VersionLine, IsEmptyForAFileThatCannotBeReadOn) {
  FailingText text("[Version]\nDriver", FailToRead);
  std::istream inf(&text);
  EXPECT_EQ(FindVersionLine(inf), "");
}

TEST(VersionLine, BeforeTheFailureIsFound) {
  FailingText text("DriverVer=1.2.3.4\n", FailToRead);
  std::istream inf(&text);
  EXPECT_EQ(FindVersionLine(inf), "DriverVer=1.2.3.4");
}

TEST(VersionLine, WithoutMemoryIsNotTakenForNone) {
  FailingText text("[Version]\nDriver", FindNoMemory);
  std::istream inf(&text);
  EXPECT_THROW(static_cast<void>(FindVersionLine(inf)), std::bad_alloc);
}

}  // namespace
}  // namespace zor
