// What an algorithm library needs, in a library of its own.
#include <stdint.h>

__declspec(dllexport) int32_t zor_test_help(void);

int32_t zor_test_help(void) { return 0; }
