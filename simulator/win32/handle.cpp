#include "simulator/win32/handle.h"

#include <system_error>

namespace zor::sim {

Handle MakeEvent() {
  Handle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!event) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                            "creating an event");
  }
  return event;
}

}  // namespace zor::sim
