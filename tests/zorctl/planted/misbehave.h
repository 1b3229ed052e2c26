/* What a planted library does instead of what it should: the environment says it. */
#ifndef ZOR_TEST_MISBEHAVE_H
#define ZOR_TEST_MISBEHAVE_H

#include <windows.h>

#include <string.h>

/* ZOR_TEST_MISBEHAVES is the place and the deed: "load hang", "load crash", "ask spin", "ask
   crash", "ask exit". Does nothing in another place. */
static void misbehave(const char* place) {
  char text[32];
  const size_t size = strlen(place);
  const char* deed = NULL;
  volatile int* nowhere = NULL;
  if (GetEnvironmentVariableA("ZOR_TEST_MISBEHAVES", text, sizeof text) == 0) return;
  if (strncmp(text, place, size) != 0) return;
  deed = text + size + 1;
  if (strcmp(deed, "hang") == 0) Sleep(INFINITE);
  if (strcmp(deed, "crash") == 0) *nowhere = 1;
  if (strcmp(deed, "exit") == 0) ExitProcess(7);
  if (strcmp(deed, "spin") == 0) {
    for (volatile int forever = 1; forever != 0;) {
    }
  }
}

#endif
