// The session of session.c, in C++.
#include <objbase.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <future>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>

#include "zor.hpp"

namespace {

constexpr std::uint32_t kLastEvent = 3;  // the last one that this session raises
constexpr std::chrono::milliseconds kConnect{300};
constexpr std::chrono::seconds kPatience{5};

// One write for each line: events come on another thread.
void Print(const std::string& line) { std::cout << line + '\n' << std::flush; }

void Show(const zor::Event& event) {
  std::ostringstream line;
  line << "  event " << event.type << ':' << std::boolalpha;
  if (event.flag) line << " flag " << *event.flag;
  if (event.value) line << " value " << *event.value;
  if (event.text) line << " \"" << *event.text << '"';
  Print(line.str());
}

void Show(const zor::Blob& blob) {
  std::ostringstream line;
  line << "  " << blob.name() << ", " << blob.size() << " bytes:" << std::hex << std::setfill('0');
  for (const std::uint8_t byte : blob) line << ' ' << std::setw(2) << unsigned{byte};
  Print(line.str());
}

/// COM on this thread. The list of algorithms needs it: without it no driver is found.
class Com {
 public:
  Com() : initialized_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
  Com(const Com&) = delete;
  Com& operator=(const Com&) = delete;
  ~Com() {
    if (initialized_) CoUninitialize();
  }

 private:
  bool initialized_;
};

/// The first algorithm that is present on this machine; null when there is none.
const char* FirstPresent(const zor::NameList& algorithms) {
  for (const auto& name : algorithms) {
    if (name) return name->c_str();
  }
  return nullptr;
}

void UseInstance(const zor::Client& client, const char* algorithm) {
  zor::Instance instance = client.Create(algorithm, "first");
  Print("instance " + std::to_string(instance.handle()) + " of " + algorithm);
  instance.Config("rate", "48000");
  instance.Start();

  instance.Set("gain", 0.5F);
  Print("  gain = " + std::to_string(instance.Get("gain")));
  Print("  status " + std::to_string(instance.GetStatus()));

  const std::array<std::uint8_t, 4> bytes = {1, 2, 3, 4};
  instance.SetSerialized("tuning", bytes.data(), bytes.size());
  if (const zor::Blob blob = instance.GetSerialized("tuning")) Show(blob);

  instance.Stop();
}  // the instance is destroyed here

bool RunSession() {
  const zor::Client client;

  std::promise<void> last_event;
  auto last_event_seen = last_event.get_future();
  // Runs on the library's own thread. Switched off before what it refers to goes.
  const zor::ScopedEventCallback callback([&, seen = false](const zor::Event& event) mutable {
    Show(event);
    if (event.type == kLastEvent && !seen) last_event.set_value();
    seen = seen || event.type == kLastEvent;
  });
  // The library's own thread connects a moment after the load; events before that are lost.
  std::this_thread::sleep_for(kConnect);

  const ZorServerInfo info = client.GetInfo();
  Print("server " + std::to_string(info.info0) + '.' + std::to_string(info.info1) + '.' +
        std::to_string(info.info2) + '.' + std::to_string(info.info3));

  const Com com;
  const zor::NameList algorithms = client.Enumerate(zor::kAlgorithms);
  for (const auto& name : algorithms) Print("  " + name.value_or("(not present)"));
  const char* algorithm = FirstPresent(algorithms);
  if (algorithm == nullptr) {
    std::cerr << "session: the server lists no algorithm that is present here" << std::endl;
    return false;
  }
  UseInstance(client, algorithm);

  // Events come a moment after what raised them.
  if (last_event_seen.wait_for(kPatience) != std::future_status::ready) {
    std::cerr << "session: the server sent no event of type " << kLastEvent << std::endl;
    return false;
  }
  return true;
}

}  // namespace

int main() {
  try {
    if (!RunSession()) return 1;
    Print("session: complete");
    return 0;
  } catch (const std::system_error& error) {
    std::cerr << "session: " << error.what() << std::endl;
    if (error.code() == zor::Result::kNotConnected) {
      std::cerr << "session: start zorsim, then try again" << std::endl;
    }
    return 1;
  }
}
