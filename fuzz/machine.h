/// The library, loaded and with a machine around it, for as long as the program runs.
#pragma once

#include <utility>

#include "fuzz/harness.h"
#include "tests/support/machine_test.h"

namespace zor::fuzz {

/// The fixture of the unit tests, without a test.
class Machine : public scripted::MachineTest {
 public:
  /// With a driver, its package, and two algorithm libraries that answer.
  Machine() {
    FailWithThePlatform();
    InstallDriver(L"1.0.33.52");
    const std::wstring package = AddPackageOfVersion(L"zorapo.inf_amd64_1", "1.0.33.52");
    AddLibrary(package, L"K270502.dll");
    AddLibrary(package, L"K030806.dll");
    scripted::TheCalls().StopRecording();
  }

  /// Forgets what the calls have left; keeps the library and the machine.
  static void Refresh() {
    TheLibrary().algorithm_ids.clear();
    scripted::TheOutput().Reset();
    scripted::TheDrivers().calls.clear();
    scripted::TheModules().calls.clear();
    scripted::TheDirectories().listed.clear();
  }

 private:
  void TestBody() override {}
};

}  // namespace zor::fuzz
