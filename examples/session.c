/* A whole session with the audio server: every call once, in the order of an application. */
#include <objbase.h> /* CoInitializeEx: for the list of algorithms */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h> /* Sleep, Interlocked...: only to wait for events */

#include "zor_interface.h"

enum { EVENT_LAST = 3, SELECTOR_ALGORITHMS = 2 };
enum { CONNECT_MS = 300, WAIT_LIMIT_MS = 5000, WAIT_STEP_MS = 10 };

static volatile LONG last_event_seen;

/* Runs on the library's own thread. */
static void on_event(ZorEvent* event) {
  switch (event->type) {
    case 0:
      printf("  event 0: flag %d\n", event->data.event0.flag);
      break;
    case 1:
      printf("  event 1: value %u\n", (unsigned)event->data.event1.value);
      break;
    case 2:
      printf("  event 2: flag %d\n", event->data.event2.flag);
      break;
    case 3:
      printf("  event 3: value %u\n", (unsigned)event->data.event3.value);
      break;
    case 4:
      printf("  event 4: flag %d, \"%s\"\n", event->data.event4.flag, event->data.event4.text);
      break;
    case 5:
      printf("  event 5: value %u, \"%s\"\n", (unsigned)event->data.event5.value,
             event->data.event5.text);
      break;
    default:
      printf("  event %u\n", (unsigned)event->type);
      break;
  }
  fflush(stdout);
  if (event->type == EVENT_LAST) InterlockedExchange(&last_event_seen, 1);
}

static const char* explain(ZorResult result) {
  switch (result) {
    case ZOR_TRANSPORT_FAILURE:
      return "there is no valid reply from the server, or a local step failed";
    case ZOR_NOT_CONNECTED:
      return "the server is not running, is busy or denies access: is zorsim running?";
    case ZOR_UNKNOWN_ALGORITHM:
      return "no algorithm in the list has this id";
    default:
      return "the server refused: see its documentation for this result";
  }
}

/* Prints the step; a step that failed ends the program. */
static void check(const char* step, ZorResult result) {
  printf("%-22s %s\n", step, result == ZOR_SUCCESS ? "ok" : "failed");
  fflush(stdout);
  if (result != ZOR_SUCCESS) {
    fprintf(stderr, "session: %s returned %u: %s\n", step, (unsigned)result, explain(result));
    exit(EXIT_FAILURE);
  }
}

static void show_blob(const ZorBlob* blob) {
  uint32_t i;
  printf("  %s, %u bytes:", blob->name, (unsigned)blob->size);
  for (i = 0; i < blob->size; ++i) printf(" %02x", blob->data[i]);
  printf("\n");
}

int main(void) {
  uint8_t bytes[] = {1, 2, 3, 4};
  char blob_name[] = "tuning";
  ZorServerInfo info;
  ZorNameList list = {0, NULL};
  ZorTextParam create = {NULL, "first"};
  ZorTextParam config = {"rate", "48000"};
  ZorFloatParam gain = {"gain", 0.5F};
  ZorBlob blob = {blob_name, sizeof bytes, bytes};
  ZorBlob wanted = {blob_name, 0, NULL};
  ZorBlob got = {NULL, 0, NULL};
  uint32_t handle = 0;
  uint32_t status = 0;
  uint32_t i;
  int waited;

  check("ZorIntfRegEventCallback", ZorIntfRegEventCallback(on_event));
  /* The library's own thread connects a moment after the load; events before that are lost. */
  Sleep(CONNECT_MS);

  check("ZorIntfGetInfo", ZorIntfGetInfo(&info));
  printf("  server %u.%u.%u.%u\n", (unsigned)info.info0, (unsigned)info.info1, (unsigned)info.info2,
         (unsigned)info.info3);

  /* The library does not do this. Without it no driver is found, and the server's list is shown as
     if all of its algorithms were here. */
  if (FAILED(CoInitializeEx(NULL, COINIT_MULTITHREADED))) {
    fprintf(stderr, "session: COM cannot be initialised\n");
    return EXIT_FAILURE;
  }
  check("ZorIntfEnum", ZorIntfEnum(SELECTOR_ALGORITHMS, &list));
  CoUninitialize();
  for (i = 0; i < list.count; ++i) {
    printf("  %u: %s\n", (unsigned)i, list.items[i] != NULL ? list.items[i] : "(not present)");
    if (create.name == NULL) create.name = list.items[i];
  }
  if (create.name == NULL) {
    fprintf(stderr, "session: the server lists no algorithm that is present here\n");
    return EXIT_FAILURE;
  }

  check("ZorIntfCreate", ZorIntfCreate(&handle, &create));
  printf("  instance %u of %s\n", (unsigned)handle, create.name);
  check("ZorIntfConfig", ZorIntfConfig(handle, &config));
  check("ZorIntfStart", ZorIntfStart(handle));

  check("ZorIntfSet", ZorIntfSet(handle, &gain));
  gain.value = 0.0F;
  check("ZorIntfGet", ZorIntfGet(handle, &gain));
  printf("  %s = %g\n", gain.name, (double)gain.value);
  check("ZorIntfGetStatus", ZorIntfGetStatus(handle, &status));
  printf("  status %u\n", (unsigned)status);

  check("ZorIntfSetSerialized", ZorIntfSetSerialized(handle, &blob));
  check("ZorIntfGetSerialized", ZorIntfGetSerialized(handle, &wanted, &got));
  if (got.name != NULL && got.data != NULL) show_blob(&got);
  check("ZorIntfFreeSerialized", ZorIntfFreeSerialized(handle, &got));
  free(got.name); /* the name, unlike the data, is the application's own */

  check("ZorIntfStop", ZorIntfStop(handle));
  check("ZorIntfDestroy", ZorIntfDestroy(handle));

  /* Events come a moment after what raised them. */
  for (waited = 0; last_event_seen == 0 && waited < WAIT_LIMIT_MS; waited += WAIT_STEP_MS) {
    Sleep(WAIT_STEP_MS);
  }
  check("ZorIntfRegEventCallback", ZorIntfRegEventCallback(NULL));
  if (last_event_seen == 0) {
    fprintf(stderr, "session: the server sent no event of type %d\n", EVENT_LAST);
    return EXIT_FAILURE;
  }
  printf("session: complete\n");
  return EXIT_SUCCESS;
}
