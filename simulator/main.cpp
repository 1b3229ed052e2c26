// zorsim: the simulated audio server.
#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <mutex>
#include <random>
#include <string>

#include "simulator/default_scenario.h"
#include "simulator/scenario_reader.h"
#include "simulator/server.h"
#include "simulator/trace_line.h"
#include "simulator/win32/process_control.h"

namespace {

using zor::sim::Scenario;

constexpr int kFailure = 1;
constexpr int kInvalidScenario = 2;
constexpr std::uint32_t kLargestFirstHandle = 1'000'000;
constexpr std::chrono::seconds kStopPatience(30);

constexpr const char* kExamples = R"(Examples:
  zorsim                                      the default scenario, until Ctrl-C
  zorsim --print-default-scenario > my.json   a scenario to start from
  zorsim --scenario my.json --check           is it valid?
  zorsim --scenario my.json --trace -         run it and show every message
  zorsim --stop                               stop the one that runs

Exit status: 0 stopped as asked, or valid; 1 the server could not run, or there was none to stop;
2 the scenario is not valid; above 100 the command line is not understood.)";

struct Options {
  std::string scenario;
  std::string trace;
  std::string ready_event;
  std::uint32_t first_handle = 0;
  bool check = false;
  bool print_default = false;
  bool stop = false;
  bool quiet = false;
};

/// Writes the trace, line by line, so that others can follow it while the server runs.
class Tracer {
 public:
  /// "-" is the standard output, an empty name no trace at all.
  [[nodiscard]] bool Open(const std::string& file) {
    if (file.empty()) return true;
    if (file == "-") {
      stream_ = &std::cout;
      return true;
    }
    file_.open(file, std::ios::binary);
    stream_ = &file_;
    return file_.is_open();
  }

  [[nodiscard]] bool is_open() const { return stream_ != nullptr; }

  void Write(const zor::sim::TraceRecord& record) {
    const std::string line = zor::sim::TraceLine(record) + "\n";
    const std::lock_guard lock(mutex_);
    *stream_ << line << std::flush;
  }

 private:
  std::mutex mutex_;
  std::ofstream file_;
  std::ostream* stream_ = nullptr;
};

int Fail(const std::string& why) {
  std::cerr << "zorsim: " << why << std::endl;
  return kFailure;
}

int StopOther(bool quiet) {
  switch (zor::sim::StopRunningServer(kStopPatience)) {
    case zor::sim::StopOutcome::kStopped:
      if (!quiet) std::cout << "zorsim has stopped." << std::endl;
      return 0;
    case zor::sim::StopOutcome::kNoneRunning:
      return Fail("no zorsim is running in this session");
    case zor::sim::StopOutcome::kStillRunning:
      return Fail("the running zorsim was told to stop, but has not ended");
    case zor::sim::StopOutcome::kFailed:
      break;
  }
  return Fail("the running zorsim cannot be reached: is it another user's?");
}

std::string Summary(const zor::sim::ServerCounts& counts) {
  std::string text = "zorsim stopped: " + std::to_string(counts.clients) + " connections, " +
                     std::to_string(counts.requests) + " requests, " +
                     std::to_string(counts.faults) + " faults, " +
                     std::to_string(counts.notifications) + " notifications sent";
  if (counts.lost_notifications != 0) {
    text += ", " + std::to_string(counts.lost_notifications) +
            " lost by clients that did not read them";
  }
  return text + ".";
}

int Serve(const Options& options, const Scenario& scenario) {
  Tracer tracer;
  if (!tracer.Open(options.trace)) return Fail(options.trace + ": cannot be written");
  // With the trace on the standard output, nothing else is there.
  std::ostream& talk = options.trace == "-" ? std::cerr : std::cout;

  zor::sim::StopSignal stop;
  std::atomic<bool> failed = false;
  zor::sim::ServerObserver observer;
  if (tracer.is_open()) {
    observer.on_trace = [&tracer](const auto& record) { tracer.Write(record); };
  }
  observer.on_failure = [&](const std::string& why) {
    Fail(why);
    failed = true;
    stop.Set();
  };

  zor::sim::Server server(scenario, observer);
  if (const auto error = server.Start()) return Fail(*error);
  stop.Announce();
  if (!options.quiet) {
    talk << "zorsim is ready: "
         << (options.scenario.empty() ? std::string("the default scenario") : options.scenario)
         << "; Ctrl-C or zorsim --stop ends it." << std::endl;
  }
  if (!options.ready_event.empty() && !zor::sim::SetNamedEvent(options.ready_event)) {
    return Fail("the event " + options.ready_event + " cannot be set");
  }
  stop.Wait();
  server.Stop();
  if (!options.quiet) talk << Summary(server.Counts()) << std::endl;
  return failed ? kFailure : 0;
}

/// Where the handles of this run begin. An application that uses a handle of an earlier run then
/// fails, instead of driving another instance.
std::uint32_t RandomFirstHandle() {
  std::random_device device;
  return std::uniform_int_distribution<std::uint32_t>(1, kLargestFirstHandle)(device);
}

int Run(const Options& options) {
  if (options.print_default) {
    std::cout << zor::sim::DefaultScenarioText() << std::flush;
    return 0;
  }
  if (options.stop) return StopOther(options.quiet);

  Scenario scenario = zor::sim::DefaultScenario();
  if (!options.scenario.empty()) {
    auto result = zor::sim::LoadScenario(options.scenario);
    for (const std::string& error : result.errors) std::cerr << error << "\n";
    if (!result.scenario) return kInvalidScenario;
    scenario = std::move(*result.scenario);
  }
  if (options.first_handle != 0) scenario.first_handle = options.first_handle;
  if (scenario.first_handle == 0) scenario.first_handle = RandomFirstHandle();
  if (!options.check) return Serve(options, scenario);
  if (!options.quiet) {
    std::cout << (options.scenario.empty() ? "the default scenario" : options.scenario)
              << " is valid." << std::endl;
  }
  return 0;
}

int Main(int argc, char** argv) {
  CLI::App app{"A simulated audio server on the two named pipes of ZorInterface.dll.", "zorsim"};
  app.footer(kExamples);
  app.set_version_flag("--version", "zorsim " ZOR_VERSION);
  Options options;
  app.add_option("--scenario", options.scenario, "What to offer and how to misbehave")
      ->type_name("FILE");
  app.add_option("--trace", options.trace, "Write each message as a line of JSON; - is stdout")
      ->type_name("FILE");
  app.add_option("--ready-event", options.ready_event, "Set this named event when ready")
      ->type_name("NAME");
  app.add_option("--first-handle", options.first_handle,
                 "Begin the handles here, not somewhere else in each run")
      ->type_name("NUMBER")
      ->check(CLI::PositiveNumber);
  app.add_flag("--quiet", options.quiet, "Print errors only");
  auto* check = app.add_flag("--check", options.check, "Only say whether the scenario is valid");
  auto* print = app.add_flag("--print-default-scenario", options.print_default,
                             "Print the scenario that is used without --scenario");
  auto* stop = app.add_flag("--stop", options.stop,
                            "Tell the running zorsim to stop, and wait until it has gone");
  check->excludes(print)->excludes(stop);
  print->excludes(stop);
  CLI11_PARSE(app, argc, argv);
  return Run(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "zorsim: %s\n", error.what()));
    return kFailure;
  }
}
