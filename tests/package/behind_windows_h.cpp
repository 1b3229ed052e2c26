// The C++ header behind the system's, with every macro that it has.
#include <windows.h>

// What the header includes, before it: GCC's library takes min and max away when it is read.
#include <array>
#include <exception>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#undef min
#undef max
#define min(a, b) (((a) < (b)) ? (a) : (b))
#define max(a, b) (((a) > (b)) ? (a) : (b))

#include "interface/zor.hpp"

void MakeEveryCall();

void MakeEveryCall() {
  zor::Instance instance = zor::Client().Create("general");
  instance.SetSerialized("preset", std::vector<std::uint8_t>(3));
}
