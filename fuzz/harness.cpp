#include "fuzz/harness.h"

#include <gtest/gtest.h>
#include <sanitizer/asan_interface.h>

#include <cstdio>
#include <cstdlib>

// Every stack frame is a block of its own then, so that bytes of a reply buffer can be put out of
// bounds; see Pipes::PoisonUnread().
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
  return "detect_stack_use_after_return=1";
}

namespace zor::fuzz {
namespace {

class Reporter : public ::testing::EmptyTestEventListener {
  void OnTestPartResult(const ::testing::TestPartResult& result) override {
    if (result.failed()) Fail(result.summary());
  }
};

}  // namespace

void Fail(const char* what) {
  std::fprintf(stderr, "fuzz: %s\n", what);
  std::abort();
}

void FailWithThePlatform() {
  static const bool done = [] {
    // The list of listeners owns it.
    ::testing::UnitTest::GetInstance()->listeners().Append(new Reporter);
    return true;
  }();
  static_cast<void>(done);
}

void Block::Guard(bool on) const {
  const std::size_t room = (size_ + 7) / 8 * 8;
  auto* end = reinterpret_cast<std::uint8_t*>(words_.get()) + size_;
  if (on) {
    ASAN_POISON_MEMORY_REGION(end, room - size_);
  } else {
    ASAN_UNPOISON_MEMORY_REGION(end, room - size_);
  }
}

bool IsTextIn(std::span<const std::uint8_t> bytes, const char* text) {
  const auto* begin = reinterpret_cast<const char*>(bytes.data());
  if (text < begin || text >= begin + bytes.size()) return false;
  return std::memchr(text, '\0', static_cast<std::size_t>(begin + bytes.size() - text)) != nullptr;
}

}  // namespace zor::fuzz
