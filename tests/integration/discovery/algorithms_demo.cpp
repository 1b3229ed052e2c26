// Shows how the server's list of algorithms is joined with what this machine has: puts up a driver
// package with three of the simulated server's six algorithms, in a folder of its own, and sets and
// gets the algorithm of an instance. The driver itself is a stand-in. Needs a running zorsim.

#include <cstdint>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include "interface/zor_interface.h"
#include "tests/integration/discovery/com.h"
#include "tests/integration/discovery/machine.h"
#include "tests/integration/discovery/wmi_stand_in.h"

namespace zor::testing {
namespace {

constexpr std::uint32_t kAlgorithms = 2;

/// Prints the step; throws when its result is another one.
void Check(const std::string& step, ZorResult result, ZorResult expected = ZOR_SUCCESS) {
  std::cout << step << ": " << result << std::endl;
  if (result != expected) {
    throw std::runtime_error(step + " answered " + std::to_string(result) + ", not " +
                             std::to_string(expected));
  }
}

void Set(std::uint32_t handle, float id, ZorResult expected = ZOR_SUCCESS) {
  ZorFloatParam param = {"supproted_algo_name", id};
  Check("set algorithm " + std::to_string(static_cast<int>(id)), ZorIntfSet(handle, &param),
        expected);
}

void Get(std::uint32_t handle, float expected) {
  ZorFloatParam param = {"supproted_algo_name", 0};
  Check("get algorithm", ZorIntfGet(handle, &param));
  std::cout << "  " << param.value << std::endl;
  if (param.value != expected) throw std::runtime_error("another algorithm was expected");
}

void Run() {
  const Com com;
  WmiStandIn service;
  service.rows.push_back({{L"HardwareID", {.text = L"SWC\\VEN_ZOR&CID_APO"}},
                          {L"DriverVersion", {.text = L"1.0.0.5"}}});
  const Machine machine;
  const auto package = machine.AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.0.5");
  for (const auto* library : {L"K270502.dll", L"K030102.dll", L"K030806.dll"}) {
    Machine::AddLibrary(package, library, L"zor_test_answers.dll");
  }

  ZorNameList list = {};
  Check("list algorithms", ZorIntfEnum(kAlgorithms, &list));
  for (std::uint32_t i = 0; i < list.count; ++i) {
    std::cout << "  " << i << ": " << (list.items[i] == nullptr ? "-" : list.items[i]) << std::endl;
  }
  constexpr std::uint32_t kPresent = 3;
  if (list.count != kPresent) throw std::runtime_error("three algorithms were expected");

  const ZorTextParam create = {list.items[0], "algorithms"};
  std::uint32_t handle = 0;
  Check("create", ZorIntfCreate(&handle, &create));
  std::cout << "an algorithm that is present here:" << std::endl;
  Set(handle, 2);
  Get(handle, 2);
  std::cout << "one that only the server has:" << std::endl;
  constexpr float kAbsent = 3;
  Set(handle, kAbsent, ZOR_UNKNOWN_ALGORITHM);
  // -1 stands for every absent one; setting it is setting the first of them.
  Set(handle, -1);
  Get(handle, -1);
  Check("destroy", ZorIntfDestroy(handle));
}

}  // namespace
}  // namespace zor::testing

int main() try {
  zor::testing::Run();
  std::cout << "algorithms: complete" << std::endl;
  return 0;
} catch (const std::exception& error) {
  std::cerr << "algorithms: " << error.what() << '\n';
  return 1;
}
