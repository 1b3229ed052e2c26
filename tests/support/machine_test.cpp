#include "tests/support/machine_test.h"

#include <utility>

namespace zor::scripted {

void MachineTest::ServeAlgorithms(std::vector<std::string> names) {
  const auto count = static_cast<std::uint32_t>(names.size());
  ServeAlgorithms(std::move(names), count);
}

void MachineTest::ServeAlgorithms(std::vector<std::string> names, std::uint32_t count) {
  Reply reply;
  reply.enum_result = {count, std::move(names)};
  AnswerWith(Build(reply));
}

}  // namespace zor::scripted
