// The C++ headers behind the system's, with every macro that it has.
#include <windows.h>

// What the headers include, before it: GCC's library takes min and max away when it is read.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#undef min
#undef max
#define min(a, b) (((a) < (b)) ? (a) : (b))
#define max(a, b) (((a) > (b)) ? (a) : (b))

#include "interface/zor.hpp"
#include "interface/zor_session.hpp"

void MakeEveryCall();

void MakeEveryCall() {
  zor::Instance instance = zor::Client().Create("general");
  instance.SetSerialized("preset", std::vector<std::uint8_t>(3));

  zor::Session session;
  zor::SessionInstance its = session.Create("general").get();
  its.SetSerialized("preset", std::vector<std::uint8_t>(3)).get();
}
