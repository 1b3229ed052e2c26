/*
 * An application in C that links the import library: calls every export once, without a server.
 * Ends with 0 when each call answers what it must.
 */
#include <stdio.h>

#include "zor_interface.h"

static int failures = 0;

static void expect(ZorResult expected, ZorResult result, const char* call) {
  if (result == expected) return;
  printf("%s: %u instead of %u\n", call, result, expected);
  ++failures;
}

static void on_event(ZorEvent* event) { (void)event; }

int main(void) {
  char name[] = "name";
  uint8_t byte = 1;
  uint32_t handle = 5;
  uint32_t status = 6;
  ZorServerInfo info = {1, 2, 3, 4};
  ZorNameList list = {0, NULL};
  ZorFloatParam value = {"gain", 0.5F};
  ZorBlob output = {NULL, 0, NULL};
  const ZorTextParam text = {"name", "value"};
  ZorBlob input;
  input.name = name;
  input.size = 1;
  input.data = &byte;

  expect(ZOR_SUCCESS, ZorIntfRegEventCallback(on_event), "ZorIntfRegEventCallback");
  expect(ZOR_NOT_CONNECTED, ZorIntfGetInfo(&info), "ZorIntfGetInfo");
  expect(ZOR_NOT_CONNECTED, ZorIntfEnum(2, &list), "ZorIntfEnum");
  expect(ZOR_NOT_CONNECTED, ZorIntfCreate(&handle, &text), "ZorIntfCreate");
  expect(ZOR_NOT_CONNECTED, ZorIntfConfig(handle, &text), "ZorIntfConfig");
  expect(ZOR_NOT_CONNECTED, ZorIntfStart(handle), "ZorIntfStart");
  expect(ZOR_NOT_CONNECTED, ZorIntfSet(handle, &value), "ZorIntfSet");
  expect(ZOR_NOT_CONNECTED, ZorIntfGet(handle, &value), "ZorIntfGet");
  expect(ZOR_NOT_CONNECTED, ZorIntfGetStatus(handle, &status), "ZorIntfGetStatus");
  expect(ZOR_NOT_CONNECTED, ZorIntfSetSerialized(handle, &input), "ZorIntfSetSerialized");
  expect(ZOR_NOT_CONNECTED, ZorIntfGetSerialized(handle, &input, &output), "ZorIntfGetSerialized");
  expect(ZOR_SUCCESS, ZorIntfFreeSerialized(handle, &output), "ZorIntfFreeSerialized");
  expect(ZOR_NOT_CONNECTED, ZorIntfStop(handle), "ZorIntfStop");
  expect(ZOR_NOT_CONNECTED, ZorIntfDestroy(handle), "ZorIntfDestroy");

  if (info.info0 != 1 || info.info3 != 4 || list.items != NULL || handle != 5 || status != 6 ||
      output.data != NULL || output.name != NULL) {
    puts("a call without a server has written an output");
    ++failures;
  }
  return failures;
}
