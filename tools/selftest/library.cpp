#include "tools/selftest/library.h"

#include <array>
#include <stdexcept>

namespace zor::selftest {

Library::Library() {
  ZorLoadError error;
  if (zor_load(&library_, nullptr, &error) == ZOR_LOAD_OK) return;
  std::array<char, ZOR_LOAD_TEXT_SIZE> text{};
  throw std::runtime_error(zor_load_text(&error, text.data()));
}

}  // namespace zor::selftest
