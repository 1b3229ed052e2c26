/* A ZorInterface.dll that has the right version, but not the functions, or not all of them. */
#include <stdint.h>

#include "tests/zorctl/planted/misbehave.h"

#ifdef ZOR_TEST_EXPORTS
__declspec(dllexport) uint32_t ZorIntfConfig(void);
__declspec(dllexport) uint32_t ZorIntfCreate(void);
__declspec(dllexport) uint32_t ZorIntfDestroy(void);

uint32_t ZorIntfConfig(void) { return 0; }
uint32_t ZorIntfCreate(void) { return 0; }
uint32_t ZorIntfDestroy(void) { return 0; }
#endif

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved);

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved) {
  (void)library;
  (void)reserved;
  if (reason == DLL_PROCESS_ATTACH) misbehave("load");
  return TRUE;
}
