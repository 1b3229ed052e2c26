// Keeps an instance running on a server that hangs now and then, and that is restarted.
//   survive_cpp [TIMES]    ends when it has come through so many troubles; without it never
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <system_error>
#include <thread>

#include "zor_session.hpp"

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLimit{500};  // for each call
constexpr milliseconds kPause{50};

void Print(const std::string& line) { std::cout << line + '\n' << std::flush; }

/// An instance that runs, when the server is there.
zor::SessionInstance MakeInstance(zor::Session& session) {
  zor::SessionInstance instance = session.Create("general", nullptr, kLimit).get();
  instance.Config("rate", "48000", kLimit).get();
  instance.Start(kLimit).get();
  Print("instance " + std::to_string(instance.handle()) + " runs");
  return instance;
}

void Run(int times) {
  zor::SessionOptions options;
  options.on_event = [](const zor::SessionEvent& event) {  // on the session's thread
    if (event.kind == zor::SessionEventKind::kServerGone) Print("the server has gone");
    if (event.kind == zor::SessionEventKind::kServerReplaced) Print("there is another server");
  };
  zor::Session session(options);
  zor::SessionInstance instance;
  bool trouble = false;

  while (times != 0) {
    try {
      if (!instance) instance = MakeInstance(session);
      static_cast<void>(instance.GetStatus(kLimit).get());
      if (trouble) {
        Print("all is well again");
        --times;
      }
      trouble = false;
    } catch (const std::system_error& error) {
      Print(error.what());
      trouble = true;
      // The server that comes next does not have it. This sends nothing.
      if (error.code() == zor::SessionError::kInstanceLost) instance = zor::SessionInstance();
    }
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Run(argc > 1 ? std::atoi(argv[1]) : -1);
    return 0;
  } catch (const std::system_error& error) {
    std::cerr << "survive: " << error.what() << std::endl;
    return 1;
  }
}
