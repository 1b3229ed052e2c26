// An algorithm library that answers, and uses the whole of the record.
#include <stdint.h>

__declspec(dllexport) int32_t zor_get_dll_information(void* record);

int32_t zor_get_dll_information(void* record) {
  uint32_t* words = record;
  for (uint32_t i = 0; i < 8; ++i) words[i] = 100 + i;
  return 0;
}
