// An application that is built without exceptions: the half of the C++ header with error codes, run
// without a server. Ends with the number of calls that did not do what they must.
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <utility>

#include "zor.hpp"

#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
#error "exceptions are on"
#endif

namespace {

int failures = 0;

void Expect(std::errc expected, const std::error_code& error, const char* call) {
  if (error == expected) return;
  std::printf("%s: %s\n", call, error.message().c_str());
  ++failures;
}

}  // namespace

int main() {
  const zor::Client client;
  std::error_code error;

  static_cast<void>(client.GetInfo(error));
  Expect(std::errc::not_connected, error, "GetInfo");
  static_cast<void>(client.Enumerate(zor::kAlgorithms, error));
  Expect(std::errc::not_connected, error, "Enumerate");
  zor::Instance none = client.Create("name", nullptr, error);
  Expect(std::errc::not_connected, error, "Create");
  none.Start(error);
  Expect(std::errc::invalid_argument, error, "Start without an instance");

  zor::Instance instance(client, 5);
  instance.Config("name", "value", error);
  Expect(std::errc::not_connected, error, "Config");
  instance.Start(error);
  Expect(std::errc::not_connected, error, "Start");
  instance.Stop(error);
  Expect(std::errc::not_connected, error, "Stop");
  instance.Destroy(error);
  Expect(std::errc::not_connected, error, "Destroy");

  zor::SetEventCallback([](const zor::Event&) {});
  zor::SetEventCallback(zor::EventCallback());
  return failures;
}
