/// A fixture: the library on a scripted machine.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "interface/zor_interface.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"
#include "tests/support/machine.h"

namespace zor::scripted {

class MachineTest : public CallTest, protected Machine {
 protected:
  /// Lets the server have these algorithms; `count` says how many, whatever they are.
  static void ServeAlgorithms(std::vector<std::string> names);
  static void ServeAlgorithms(std::vector<std::string> names, std::uint32_t count);
};

}  // namespace zor::scripted
