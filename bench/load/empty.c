/* The least that a library can be: what loading one costs anyway. */
__declspec(dllexport) int BenchEmpty(void) { return 0; }
