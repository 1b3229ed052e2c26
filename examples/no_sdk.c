/* A short session in a program that needs neither a Windows SDK nor a C runtime: what a compiler in
 * MSVC mode and a linker make of the header and ZorInterface.lib alone.
 */
#include <stddef.h>

#include "zor_interface.h"

/* What windows.h would declare; kernel32.def makes the import library. */
__declspec(dllimport) void ExitProcess(unsigned status);
__declspec(dllimport) void* GetStdHandle(unsigned which);
__declspec(dllimport) int WriteFile(void* file, const void* data, unsigned size, unsigned* written,
                                    void* overlapped);

#define STANDARD_OUTPUT ((unsigned)-11)
#define SELECTOR_ALGORITHMS 2U

/* A program that computes with floats needs this symbol; the C runtime would have it. */
extern int _fltused;
int _fltused = 1;

void start(void);

static void print(const char* text) {
  unsigned size = 0;
  unsigned written = 0;
  while (text[size] != '\0') ++size;
  (void)WriteFile(GetStdHandle(STANDARD_OUTPUT), text, size, &written, NULL);
}

static void check(const char* step, ZorResult result) {
  print(step);
  print(result == ZOR_SUCCESS ? " ok\n" : " failed\n");
  if (result != ZOR_SUCCESS) ExitProcess(1);
}

static const char* first_present(const ZorNameList* list) {
  uint32_t i;
  for (i = 0; i < list->count; ++i) {
    if (list->items[i] != NULL) return list->items[i];
  }
  return NULL;
}

/* Where the program begins: given to the linker as /entry. */
void start(void) {
  ZorServerInfo info;
  ZorNameList list = {0, NULL};
  ZorTextParam create = {NULL, "first"};
  ZorTextParam config = {"rate", "48000"};
  ZorFloatParam gain = {"gain", 0.5F};
  uint32_t handle = 0;
  uint32_t status = 0;

  check("ZorIntfGetInfo", ZorIntfGetInfo(&info));
  check("ZorIntfEnum", ZorIntfEnum(SELECTOR_ALGORITHMS, &list));
  create.name = first_present(&list);
  check("ZorIntfCreate", ZorIntfCreate(&handle, &create));
  check("ZorIntfConfig", ZorIntfConfig(handle, &config));
  check("ZorIntfStart", ZorIntfStart(handle));
  check("ZorIntfSet", ZorIntfSet(handle, &gain));
  gain.value = 0.0F;
  check("ZorIntfGet", ZorIntfGet(handle, &gain));
  check("ZorIntfGetStatus", ZorIntfGetStatus(handle, &status));
  check("ZorIntfStop", ZorIntfStop(handle));
  check("ZorIntfDestroy", ZorIntfDestroy(handle));
  if (gain.value < 0.5F || gain.value > 0.5F) {
    print("session: the parameter is not what was set\n");
    ExitProcess(1);
  }
  print("session: complete\n");
  ExitProcess(0);
}
