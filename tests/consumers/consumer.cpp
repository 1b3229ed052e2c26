// An application in C++ that links the import library: calls every export once, without a server,
// and ends with 0 when each call answers what it must.
#include <cstdint>
#include <iostream>
#include <string>

#include "zor_interface.h"

namespace {

int failures = 0;

void Expect(ZorResult expected, ZorResult result, const char* call) {
  if (result == expected) return;
  std::cout << call << ": " << result << " instead of " << expected << '\n';
  ++failures;
}

}  // namespace

int main() {
  std::string name = "name";
  std::uint8_t byte = 1;
  std::uint32_t handle = 5;
  std::uint32_t status = 6;
  ZorServerInfo info{1, 2, 3, 4};
  ZorNameList list{};
  ZorFloatParam value{"gain", 0.5F};
  ZorFloatParam algorithm{"supproted_algo_name", 1};
  ZorBlob output{};
  const ZorTextParam text{"name", nullptr};
  const ZorBlob input{name.data(), 1, &byte};

  Expect(ZOR_SUCCESS, ZorIntfRegEventCallback([](ZorEvent*) {}), "ZorIntfRegEventCallback");
  Expect(ZOR_SUCCESS, ZorIntfRegEventCallback(nullptr), "ZorIntfRegEventCallback");
  Expect(ZOR_NOT_CONNECTED, ZorIntfGetInfo(&info), "ZorIntfGetInfo");
  Expect(ZOR_NOT_CONNECTED, ZorIntfEnum(2, &list), "ZorIntfEnum");
  Expect(ZOR_NOT_CONNECTED, ZorIntfCreate(&handle, &text), "ZorIntfCreate");
  Expect(ZOR_NOT_CONNECTED, ZorIntfConfig(handle, &text), "ZorIntfConfig");
  Expect(ZOR_NOT_CONNECTED, ZorIntfStart(handle), "ZorIntfStart");
  Expect(ZOR_NOT_CONNECTED, ZorIntfSet(handle, &value), "ZorIntfSet");
  Expect(ZOR_UNKNOWN_ALGORITHM, ZorIntfSet(handle, &algorithm), "ZorIntfSet of an algorithm");
  Expect(ZOR_NOT_CONNECTED, ZorIntfGet(handle, &value), "ZorIntfGet");
  Expect(ZOR_NOT_CONNECTED, ZorIntfGet(handle, &algorithm), "ZorIntfGet of an algorithm");
  Expect(ZOR_NOT_CONNECTED, ZorIntfGetStatus(handle, &status), "ZorIntfGetStatus");
  Expect(ZOR_NOT_CONNECTED, ZorIntfSetSerialized(handle, &input), "ZorIntfSetSerialized");
  Expect(ZOR_NOT_CONNECTED, ZorIntfGetSerialized(handle, &input, &output), "ZorIntfGetSerialized");
  Expect(ZOR_SUCCESS, ZorIntfFreeSerialized(handle, &output), "ZorIntfFreeSerialized");
  Expect(ZOR_NOT_CONNECTED, ZorIntfStop(handle), "ZorIntfStop");
  Expect(ZOR_NOT_CONNECTED, ZorIntfDestroy(handle), "ZorIntfDestroy");
  return failures;
}
