/* A C program that finds the library at run time: loads and unloads it twice and calls everything
   once, without a server. Ends with 0 when each step returns what it must. */
#include <stdio.h>

#include "zor_loader.h"

static int failures = 0;

static void expect(ZorResult expected, ZorResult result, const char* call) {
  char text[ZOR_RESULT_TEXT_SIZE];
  if (result == expected) return;
  printf("%s: %s\n", call, zor_result_text(result, text));
  ++failures;
}

static void call_everything(const ZorLibrary* zor) {
  char name[] = "name";
  uint32_t handle = 5;
  uint32_t status = 6;
  ZorServerInfo info = {1, 2, 3, 4};
  ZorNameList list = {0, NULL};
  ZorFloatParam value = {"gain", 0.5F};
  ZorBlob output = {NULL, 0, NULL};
  const ZorTextParam text = {"name", "value"};
  ZorBlob input = {NULL, 0, NULL};
  input.name = name;

  expect(ZOR_SUCCESS, zor->ZorIntfRegEventCallback(NULL), "ZorIntfRegEventCallback");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfGetInfo(&info), "ZorIntfGetInfo");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfEnum(2, &list), "ZorIntfEnum");
  expect(ZOR_NOT_CONNECTED, zor_enum(zor, 2, &list), "zor_enum");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfCreate(&handle, &text), "ZorIntfCreate");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfConfig(handle, &text), "ZorIntfConfig");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfStart(handle), "ZorIntfStart");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfSet(handle, &value), "ZorIntfSet");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfGet(handle, &value), "ZorIntfGet");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfGetStatus(handle, &status), "ZorIntfGetStatus");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfSetSerialized(handle, &input), "ZorIntfSetSerialized");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfGetSerialized(handle, &input, &output),
         "ZorIntfGetSerialized");
  expect(ZOR_SUCCESS, zor->ZorIntfFreeSerialized(handle, &output), "ZorIntfFreeSerialized");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfStop(handle), "ZorIntfStop");
  expect(ZOR_NOT_CONNECTED, zor->ZorIntfDestroy(handle), "ZorIntfDestroy");
}

int main(void) {
  ZorLibrary zor = {NULL};
  ZorLoadError error;
  int round = 0;
  for (round = 0; round < 2; ++round) {
    if (zor_load(&zor, NULL, &error) != ZOR_LOAD_OK) {
      char text[ZOR_LOAD_TEXT_SIZE];
      printf("%ls: %s\n", error.path, zor_load_text(&error, text));
      return 1;
    }
    call_everything(&zor);
    if (!zor_unload(&zor) || zor.ZorIntfGetInfo != NULL) {
      puts("the library is still there");
      return 1;
    }
  }
  return failures;
}
