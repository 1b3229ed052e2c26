// A callback that would be switched off at once.
#include "interface/zor.hpp"

void Discard() {
  zor::ScopedEventCallback([](const zor::Event& /*event*/) {});
}
