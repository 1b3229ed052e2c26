/* Keeps an instance running on a server that hangs now and then, and that is restarted.
     survive [TIMES]    ends when it has come through so many troubles; without it never
   One thread makes all calls. This one waits for each with a limit. When that passes it ends the
   call and has the library loaded anew before the next one: otherwise the reply that is still to
   come would be taken for the next call's. */
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

#include "zor_loader.h"

enum { LIMIT_MS = 500, CANCEL_AGAIN_MS = 5, PAUSE_MS = 50 };

typedef enum Task { TASK_NONE, TASK_MAKE_INSTANCE, TASK_GET_STATUS, TASK_RELOAD, TASK_END } Task;

/* Shared, but never at the same time: one thread sets an event and the other waits for it. */
typedef struct Worker {
  HANDLE thread;
  HANDLE asked;
  HANDLE done;
  Task task;
  ZorResult result;
  ZorLibrary zor;
  uint32_t handle;
  uint32_t status;
} Worker;

static ZorResult make_instance(Worker* worker) {
  const ZorTextParam create = {"general", NULL};
  const ZorTextParam config = {"rate", "48000"};
  ZorResult result = worker->zor.ZorIntfCreate(&worker->handle, &create);
  if (result == ZOR_SUCCESS) result = worker->zor.ZorIntfConfig(worker->handle, &config);
  if (result == ZOR_SUCCESS) result = worker->zor.ZorIntfStart(worker->handle);
  return result;
}

/* Whether the library is there and nobody else holds the one with the late reply. */
static ZorResult reload(Worker* worker) {
  if (!zor_unload(&worker->zor)) return ZOR_TRANSPORT_FAILURE;
  return zor_load(&worker->zor, NULL, NULL) == ZOR_LOAD_OK ? ZOR_SUCCESS : ZOR_TRANSPORT_FAILURE;
}

static DWORD WINAPI work(void* argument) {
  Worker* const worker = (Worker*)argument;
  for (;;) {
    WaitForSingleObject(worker->asked, INFINITE);
    switch (worker->task) {
      case TASK_MAKE_INSTANCE:
        worker->result = make_instance(worker);
        break;
      case TASK_GET_STATUS:
        worker->result = worker->zor.ZorIntfGetStatus(worker->handle, &worker->status);
        break;
      case TASK_RELOAD:
        worker->result = reload(worker);
        break;
      case TASK_NONE:
        break;
      case TASK_END:
        zor_unload(&worker->zor);
        return 0;
    }
    SetEvent(worker->done);
  }
}

/* Has the worker do it. False when the limit has passed: the call is ended then, and its result is
   worth nothing. */
static bool ask(Worker* worker, Task task, DWORD limit) {
  bool in_time = true;
  worker->task = task;
  SetEvent(worker->asked);
  while (WaitForSingleObject(worker->done, in_time ? limit : CANCEL_AGAIN_MS) == WAIT_TIMEOUT) {
    in_time = false;
    /* Again and again: the call may just be between its write and its read. */
    CancelSynchronousIo(worker->thread);
  }
  return in_time;
}

/* False when the library cannot be loaded anew: then nothing may be called any more. */
static bool keep_running(Worker* worker, int times) {
  bool have_instance = false;
  bool trouble = false;
  while (times != 0) {
    const bool in_time =
        ask(worker, have_instance ? TASK_GET_STATUS : TASK_MAKE_INSTANCE, LIMIT_MS);
    if (in_time && worker->result == ZOR_SUCCESS) {
      if (!have_instance) printf("instance %u runs\n", (unsigned)worker->handle);
      if (trouble) puts("all is well again");
      times -= trouble ? 1 : 0;
      have_instance = true;
      trouble = false;
    } else {
      char text[ZOR_RESULT_TEXT_SIZE];
      puts(in_time ? zor_result_text(worker->result, text) : "the server does not answer in time");
      trouble = true;
      /* A server that hangs keeps the instance. With any other failure it may be another server,
         in which the handle is somebody else's. A session in C++ can tell (zor_session.hpp). */
      if (in_time) have_instance = false;
      if (!in_time || worker->result == ZOR_TRANSPORT_FAILURE) {
        ask(worker, TASK_RELOAD, INFINITE);
        if (worker->result != ZOR_SUCCESS) return false;
      }
    }
    fflush(stdout);
    Sleep(PAUSE_MS);
  }
  return true;
}

int main(int argc, char** argv) {
  static Worker worker;
  ZorLoadError error;
  bool well = false;
  if (zor_load(&worker.zor, NULL, &error) != ZOR_LOAD_OK) {
    char text[ZOR_LOAD_TEXT_SIZE];
    fprintf(stderr, "survive: %ls: %s\n", error.path, zor_load_text(&error, text));
    return EXIT_FAILURE;
  }
  worker.asked = CreateEventW(NULL, FALSE, FALSE, NULL);
  worker.done = CreateEventW(NULL, FALSE, FALSE, NULL);
  worker.thread = CreateThread(NULL, 0, work, &worker, 0, NULL);
  if (worker.asked == NULL || worker.done == NULL || worker.thread == NULL) return EXIT_FAILURE;

  well = keep_running(&worker, argc > 1 ? atoi(argv[1]) : -1);
  if (!well) fprintf(stderr, "survive: the library cannot be loaded anew\n");
  worker.task = TASK_END;
  SetEvent(worker.asked);
  WaitForSingleObject(worker.thread, INFINITE);
  return well ? EXIT_SUCCESS : EXIT_FAILURE;
}
