// An algorithm library that does not answer.
#include <stdint.h>

__declspec(dllexport) int32_t zor_get_dll_information(void* record);

int32_t zor_get_dll_information(void* record) {
  (void)record;
  return 1;
}
