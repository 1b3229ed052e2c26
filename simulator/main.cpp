// zorsim: the simulated audio server.
#include <CLI/CLI.hpp>
#include <iostream>

#include "simulator/default_scenario.h"
#include "simulator/server.h"
#include "simulator/win32/process_control.h"

int main() {
  zor::sim::Server server(zor::sim::DefaultScenario());
  if (const auto error = server.Start()) {
    std::cerr << "zorsim: " << *error << std::endl;
    return 1;
  }
  zor::sim::StopSignal stop;
  std::cout << "zorsim is ready" << std::endl;
  stop.Wait();
  server.Stop();
  const auto counts = server.Counts();
  std::cout << "zorsim stopped: " << counts.requests << " requests" << std::endl;
}
