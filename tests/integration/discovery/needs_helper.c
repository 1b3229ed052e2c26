// An algorithm library that is loaded only where the helper next to it is found.
#include <stdint.h>

__declspec(dllimport) int32_t zor_test_help(void);
__declspec(dllexport) int32_t zor_get_dll_information(void* record);

int32_t zor_get_dll_information(void* record) {
  (void)record;
  return zor_test_help();
}
