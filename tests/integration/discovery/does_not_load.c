// An algorithm library that would answer, but refuses to be loaded.
#include <windows.h>

#include <stdint.h>

__declspec(dllexport) int32_t zor_get_dll_information(void* record);

int32_t zor_get_dll_information(void* record) {
  (void)record;
  return 0;
}

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved);

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved) {
  (void)library;
  (void)reserved;
  return reason != DLL_PROCESS_ATTACH;
}
