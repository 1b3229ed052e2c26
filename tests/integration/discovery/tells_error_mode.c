// An algorithm library that tells, in two variables of the environment, the thread's error mode
// while it is loaded and while it is asked.
#include <windows.h>

#include <stdint.h>

__declspec(dllexport) int32_t zor_get_dll_information(void* record);

static void Tell(const char* variable) {
  char digit[2] = {(char)('0' + (GetThreadErrorMode() & 7U)), '\0'};
  SetEnvironmentVariableA(variable, digit);
}

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved);

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, LPVOID reserved) {
  (void)library;
  (void)reserved;
  if (reason == DLL_PROCESS_ATTACH) Tell("ZOR_TEST_MODE_LOADED");
  return TRUE;
}

int32_t zor_get_dll_information(void* record) {
  (void)record;
  Tell("ZOR_TEST_MODE_ASKED");
  return 0;
}
