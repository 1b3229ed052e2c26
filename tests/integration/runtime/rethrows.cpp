// A library with the runtime of the product, that shows what it knows of a thread's exceptions.

#include <exception>

#include "platform/process.h"

bool zor::platform::ProcessIsEnding() noexcept { return false; }

/// Throws `value`, calls `inside` while that is caught, and throws it on. What was caught at the
/// end.
extern "C" __declspec(dllexport) int Rethrow(int value, void (*inside)(void*), void* context) {
  try {
    try {
      throw value;
    } catch (int) {
      inside(context);
      throw;
    }
  } catch (int caught) {
    return caught;
  }
}

/// Whether an exception is caught on this thread.
extern "C" __declspec(dllexport) bool HasCaught() { return std::current_exception() != nullptr; }
