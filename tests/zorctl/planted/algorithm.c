/* An algorithm library that misbehaves while it is loaded or asked. */
#include <stdint.h>

#include "tests/zorctl/planted/misbehave.h"

__declspec(dllexport) int32_t zor_get_dll_information(void* record);

int32_t zor_get_dll_information(void* record) {
  (void)record;
  misbehave("ask");
  return 0;
}

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved);

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved) {
  (void)library;
  (void)reserved;
  if (reason == DLL_PROCESS_ATTACH) misbehave("load");
  return TRUE;
}
