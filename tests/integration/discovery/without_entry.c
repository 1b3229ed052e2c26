// A library with another entry than an algorithm library's.
#include <stdint.h>

__declspec(dllexport) int32_t zor_get_dll_informatio(void* record);

int32_t zor_get_dll_informatio(void* record) {
  (void)record;
  return 0;
}
