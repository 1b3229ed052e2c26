/**
 * @file zor_interface.h
 * @brief The audio server's client library, `ZorInterface.dll`: its records, results and calls.
 *
 * An application loads the library to drive audio-processing instances that live in a separate
 * audio server on the same machine. A call is one request and one reply on the server's request
 * pipe `\\.\Pipe\ZorSWNRpipe`, except ZorIntfRegEventCallback() and ZorIntfFreeSerialized(), which
 * send nothing. A background thread of the library turns the messages of the notification pipe
 * `\\.\Pipe\ZorSWNRpipeNotify` into calls of one callback.
 *
 * @code
 * #include <stdio.h>
 * #include "zor_interface.h"
 *
 * int main(void) {
 *   ZorServerInfo info;
 *   ZorResult result = ZorIntfGetInfo(&info);
 *   if (result != ZOR_SUCCESS) return (int)result;  // 2: is the audio server running?
 *   printf("server %u.%u.%u.%u\n", info.info0, info.info1, info.info2, info.info3);
 *   return 0;
 * }
 * @endcode
 *
 * ## Order of calls
 * ZorIntfGetInfo() and ZorIntfEnum() first, then ZorIntfCreate(), which yields the handle for
 * everything else, ZorIntfConfig(), ZorIntfStart(), any of the parameter calls, and at the end
 * ZorIntfStop() and ZorIntfDestroy(). The library enforces none of it: it passes on what it is
 * given, and the server answers a call out of order with a result of its own.
 *
 * ## Threads
 * Every call runs on the caller's thread. A call that has sent its request blocks until the server
 * has replied; there is no time-out. The library takes no lock: call it from one thread at a time.
 * ZorIntfRegEventCallback() may be called at any time from any thread.
 *
 * ## Loading and unloading
 * Loading itself opens no pipe and sends nothing. It starts the one background thread, which
 * connects to the notification pipe a moment later, without being asked. `FreeLibrary` returns when
 * that thread has finished its current pass: about 100 ms at most (a sleep of 100 ms, which the
 * system may round up), plus the time that a running callback still takes. Do not unload while a
 * call is running, nor from the event callback (the library would wait for itself: the process is
 * terminated). A process may also simply exit. Do not use the library from `DllMain` or from static
 * constructors and destructors.
 *
 * Loading fails when the system has no thread for the library, or no memory: `LoadLibrary` then
 * returns null with error 1114 (`ERROR_DLL_INIT_FAILED`), and nothing stays behind. A program that
 * is linked with the library does not start.
 *
 * ## Memory
 * Everything an application passes in stays its own and is copied before the call returns. What a
 * call hands out comes from the process-wide heap of the Universal C Runtime; each call says who
 * frees it.
 *
 * ## The algorithms of this machine
 * ZorIntfEnum() with selector 2 looks, at every call, for the installed audio driver and the
 * algorithm libraries of its package. For this, and for this only:
 * - COM must have been initialised by the application on the calling thread (`CoInitializeEx`, in
 *   either mode). The library does not do it: without it no driver is found, and the server's list
 *   is shown as it is. The call sets the security of COM for the process (default authentication,
 *   impersonation) unless that has been done before, which is as good.
 * - The call loads each library of the package, asks it for its information and unloads it: code of
 *   the driver package runs on the calling thread. A library that the system cannot load is
 * skipped, without a box on the user's screen.
 * - Before it loads a library, the call makes the package's folder the one that `SetDllDirectoryW`
 *   adds to the process's search for libraries. The folder stays there after the call, in place of
 *   the current directory and of a folder that the application had set. To undo this, the
 *   application calls `SetDllDirectoryW` itself afterwards: with `NULL` for the system's default,
 * or with what it had set before.
 * - On a single-threaded apartment COM dispatches window messages while it waits for the management
 *   service. A window procedure may call ZorIntfEnum() then, even with the same record: the list of
 *   the outer call replaces the inner one's, which is freed.
 *
 * ## Errors
 * A result is a number (see ::ZorResult); nothing else is reported. A pipe that cannot be opened, a
 * reply that is no valid message, a refusal of the server and a step of the driver's search that
 * fails also write a line with the prefix "[zor] " to the debugger output; other failures write
 * none. No call checks a pointer to a record for null: a null record is the caller's fault.
 *
 * ## Out of memory
 * An allocation failure inside the library leaves it as the C++ exception `std::bad_alloc`, from
 * any call but ZorIntfRegEventCallback() and ZorIntfFreeSerialized(); no other exception of the
 * library's own leaves a call. A line of the debugger output is dropped without a word. The
 * background thread allocates nothing else: it goes on, and loses no notification.
 *
 * Who can catch that exception depends on the compiler of the caller:
 * - C++ of GCC (MinGW): catches it. GCC's runtime in the application allocates when a thread
 *   catches its first exception, and ends the process (`abort`) where there is no memory for that.
 * - C of GCC: nobody catches it; the process ends.
 * - Microsoft's C++ compiler, or clang in its mode: nobody can catch it. The exception is GCC's. A
 *   handler of another kind between the call and the thread's beginning (`__try`, `catch`) is never
 *   reached: the calling thread runs on inside the unwinder for ever. Besides, `/EHsc` lets the
 *   compiler remove a `catch` around a call of an `extern "C"` function (`/EHs` does not).
 *
 * An application that is not built with GCC should treat this as the end of the process.
 */
#ifndef ZOR_INTERFACE_H
#define ZOR_INTERFACE_H

#include <stdbool.h>
#include <stdint.h>

/** @cond */
#if defined(_WIN32) && !defined(ZOR_INTERFACE_BUILD)
#define ZOR_API __declspec(dllimport)
#else
#define ZOR_API
#endif
/** @endcond */

/** @name The version of this header
 *
 * The library's file has the same in its version resource.
 * @{
 */
/* NOLINTBEGIN(cppcoreguidelines-macro-usage): for C, and for the preprocessor. */
#define ZOR_VERSION_MAJOR 0        /**< The first number. */
#define ZOR_VERSION_MINOR 1        /**< The second; another one may break programs. */
#define ZOR_VERSION_PATCH 0        /**< The third. */
#define ZOR_VERSION_STRING "0.1.0" /**< All three. */
/* NOLINTEND(cppcoreguidelines-macro-usage) */
/** @} */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief The result of every call. Any value that is not listed is the server's own result, passed
 * through unchanged.
 *
 * A server may itself answer 1, 2 or 3; by the number alone the two sources cannot be told apart.
 * The debugger output tells: a server's result is logged as "[%s] The ZorRet: %d".
 */
typedef uint32_t ZorResult;

/** @brief The results that have a name. */
enum {
  /** The server answered with result 0, or without a result. */
  ZOR_SUCCESS = 0,
  /** The request could not be written, or the reply was not readable, longer than 1024 bytes, or
      not a valid message; or a local step of the call failed, such as the search of this machine:
      the same call then fails again until its cause is gone. */
  ZOR_TRANSPORT_FAILURE = 1,
  /** The request pipe could not be opened: the server is not running, all its pipe instances are
      busy, or it does not admit this user. Nothing was sent; the next call tries again. */
  ZOR_NOT_CONNECTED = 2,
  /** ZorIntfSet() or ZorIntfGet() of "supproted_algo_name": no algorithm that ZorIntfEnum()
      was told of by the server has this id, or ZorIntfEnum() has not been called. */
  ZOR_UNKNOWN_ALGORITHM = 3
};

/** @brief Four information words; their meaning is the server's. */
typedef struct ZorServerInfo {
  uint32_t info0; /**< The first word. */
  uint32_t info1; /**< The second word. */
  uint32_t info2; /**< The third word. */
  uint32_t info3; /**< The fourth word. */
} ZorServerInfo;

/**
 * @brief A pair of texts, read by ZorIntfCreate() and ZorIntfConfig().
 *
 * NUL-terminated 8-bit strings, sent as they are. A null pointer leaves that text out of the
 * request; an empty string is sent as an empty string.
 */
typedef struct ZorTextParam {
  const char* name;  /**< Null: left out. */
  const char* value; /**< Null: left out. */
} ZorTextParam;

/** @brief One float parameter, read and written by ZorIntfSet() and ZorIntfGet(). */
typedef struct ZorFloatParam {
  /** Must not be null. */
  const char* name;
  /** In the parameter's own unit. +0.0 and -0.0 both reach the server as +0.0; NaN is sent. */
  float value;
} ZorFloatParam;

/** @brief A named block of bytes that only the server's algorithms understand. */
typedef struct ZorBlob {
  /** Which block. */
  char* name;
  /** Number of bytes at `data`. */
  uint32_t size;
  /** The bytes. Who frees them is said with each call. */
  uint8_t* data;
} ZorBlob;

/**
 * @brief The list that ZorIntfEnum() fills.
 *
 * Zero the record before its first use. The library allocates `items` and the names, and frees them
 * in the next ZorIntfEnum() with the same record that does not leave it as it was; the application
 * must not free them. To give the memory back, there is no other way than that call.
 */
typedef struct ZorNameList {
  /** Number of slots in `items`. */
  uint32_t count;
  /** `count` NUL-terminated 8-bit names, any of which may be null; null when `count` is 0. */
  char** items;
} ZorNameList;

/** @brief Payload of the events of type 0 and 2. */
typedef struct ZorFlagPayload {
  bool flag; /**< What the event says. */
} ZorFlagPayload;

/** @brief Payload of the events of type 1 and 3. */
typedef struct ZorValuePayload {
  uint32_t value; /**< What the event says. */
} ZorValuePayload;

/** @brief Payload of the events of type 4. */
typedef struct ZorFlagTextPayload {
  bool flag;        /**< What the event says. */
  const char* text; /**< NUL-terminated, valid until the callback returns. */
} ZorFlagTextPayload;

/** @brief Payload of the events of type 5. */
typedef struct ZorValueTextPayload {
  uint32_t value;   /**< What the event says. */
  const char* text; /**< NUL-terminated, valid until the callback returns. */
} ZorValueTextPayload;

/**
 * @brief A notification of the server, as handed to the callback. What the types mean is the
 * server's.
 *
 * Read only the member of `data` that belongs to `type`. The rest of the record holds whatever
 * earlier notifications left there, stale pointers included, and zeros where there was none yet;
 * for a type above 5 nothing in `data` is new.
 */
typedef struct ZorEvent {
  /** 0 to 255. */
  uint32_t type;
  /** @brief One payload for each type. */
  union ZorEventData {
    ZorFlagPayload event0;      /**< Of type 0. */
    ZorValuePayload event1;     /**< Of type 1. */
    ZorFlagPayload event2;      /**< Of type 2. */
    ZorValuePayload event3;     /**< Of type 3. */
    ZorFlagTextPayload event4;  /**< Of type 4. */
    ZorValueTextPayload event5; /**< Of type 5. */
  } data;                       /**< The payload. */
} ZorEvent;

/**
 * @brief Receives notifications, one at a time, on the library's background thread, in the order
 * in which the server sent them.
 *
 * The record and its texts are valid until the callback returns; copy what is to be kept. The next
 * notification is not read, and `FreeLibrary` does not return, before the callback has returned.
 * It may make calls, as long as no other thread makes one at the same time.
 *
 * A callback must not
 * - throw, or unload the library;
 * - wait for a thread that is loading or unloading any library (the loader's lock is held there);
 * - while another thread may be unloading this library: load or unload a library, as ZorIntfEnum()
 *   does, or start a thread and wait for it, or wait for the end of one. Threads begin and end
 * under the loader's lock, which the unload holds until the callback has returned: neither ever
 * ends;
 * - end its thread (`ExitThread`): the unload would wait for ever;
 * - leave its thread in another state. The thread belongs to a thread pool. At the unload the
 *   library puts back its priority, its affinity and that it has no token of its own; the callback
 *   itself must undo the rest, such as `CoInitializeEx`, preferred languages and transactions.
 */
typedef void (*ZorEventCallback)(ZorEvent* event);

/**
 * @brief Configures an instance.
 * @param handle  From ZorIntfCreate().
 * @param param   What to configure; its name and value are the server's to interpret.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfConfig(uint32_t handle, const ZorTextParam* param);

/**
 * @brief Creates an instance on the server.
 * @param[out] handle  The new instance's handle, for all other calls. Written on success only; 0
 *                     when the server's reply names none.
 * @param      param   What to create; its name and value are the server's to interpret.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfCreate(uint32_t* handle, const ZorTextParam* param);

/**
 * @brief Destroys an instance.
 * @param handle  From ZorIntfCreate().
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfDestroy(uint32_t handle);

/**
 * @brief Lists names: for selector 2 the algorithms, for others what the server keeps there.
 *
 * Selector 2 compares the server's algorithms with those of this machine; COM must be initialised
 * (see "The algorithms of this machine" above). Let K be the server's count of algorithms, and L
 * this machine's: each library that returns its information counts once for each algorithm that its
 * file name stands for, so two libraries of one algorithm count twice. If L is 0 or equals K, the
 * list is the server's. Otherwise it has L slots, and shows those of the server's algorithms that
 * are present, each in the slot of its id. A slot without an algorithm is null. An algorithm with
 * an id of L or more is not shown, but ZorIntfSet() takes its id.
 *
 * An algorithm's id is its position in the server's list; where the list differs from the
 * server's, its position in all that was ever enumerated with selector 2: every such call appends
 * the server's list again, and nothing is removed. Enumerate once, and keep the ids: after a later
 * call, an id may be another than before. Ids have 16 bits: from row 32,768 on they wrap around,
 * and an algorithm with a negative id is not shown.
 * @param         selector  Which list. The server sees the low 8 bits; only the number 2 itself
 *                          looks at this machine.
 * @param[in,out] list      Zeroed before its first use. On success its previous contents are freed
 *                          and replaced; otherwise it is left as it was, with one exception below.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 *         ::ZOR_TRANSPORT_FAILURE with an empty list: the search of this machine failed, because
 *         the driver store or the package's folder cannot be listed, or a version there is no
 *         number. No line of the debugger output says so, and calling again does not help before
 *         the machine is put right. `std::bad_alloc` leaves a valid list, with slots that are null.
 */
ZOR_API ZorResult ZorIntfEnum(uint32_t selector, ZorNameList* list);

/**
 * @brief Frees the `data` of a record that ZorIntfGetSerialized() filled, and nothing else.
 *
 * Sends nothing. Neither clears `data` nor touches `name` and `size`: a second call with the same
 * record frees the same block twice, which is the caller's fault. The record's `name` is the
 * application's: release it with `free` of the Universal C Runtime.
 * @param handle  Ignored.
 * @param blob    `data` may be null.
 * @return ::ZOR_SUCCESS, always.
 */
ZOR_API ZorResult ZorIntfFreeSerialized(uint32_t handle, ZorBlob* blob);

/**
 * @brief Reads one float parameter of an instance.
 *
 * The parameter "supproted_algo_name" (spelt so) carries an algorithm id: the server's id is
 * translated into the position in the list of ZorIntfEnum() with selector 2. For an algorithm that
 * this machine does not have that is -1.0, with ::ZOR_SUCCESS. When there is no such translation
 * the result is ::ZOR_UNKNOWN_ALGORITHM, and `value` holds the server's id.
 * @param         handle  From ZorIntfCreate().
 * @param[in,out] param   `name` says which; `value` is sent along and, on success, replaced by the
 *                        value in the reply. A reply without a parameter leaves it as it was; what
 *                        was passed in of "supproted_algo_name" is then taken for the server's id.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED, ::ZOR_UNKNOWN_ALGORITHM or
 *         the server's own result.
 */
ZOR_API ZorResult ZorIntfGet(uint32_t handle, ZorFloatParam* param);

/**
 * @brief Reads the server's four information words.
 * @param[out] info  Written on success only; all zero when the server's reply holds none.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfGetInfo(ZorServerInfo* info);

/**
 * @brief Reads a block of bytes from an instance.
 *
 * The whole reply must fit in 1024 bytes, which bounds a block at a little less; a larger one is
 * ::ZOR_TRANSPORT_FAILURE.
 * @param      handle  From ZorIntfCreate().
 * @param      input   `name` says which; its `size` bytes at `data`, if any, are sent along. A null
 *                     `name` is left out of the request, and the name handed back is then null.
 *                     `size` must be below 2 GiB less 2 KiB, else ::ZOR_TRANSPORT_FAILURE.
 * @param[out] output  On success: `name`, a copy of the input's (the application's, to `free`),
 *                     `size`, and `data`, `size` bytes for ZorIntfFreeSerialized(), not null even
 *                     when `size` is 0. Left as it was when the reply holds no block, and on every
 *                     other result but one: ::ZOR_TRANSPORT_FAILURE with `data` null and `name` and
 *                     `size` written means that there was no memory for `data`; `name` may be null
 *                     for the same reason.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfGetSerialized(uint32_t handle, const ZorBlob* input, ZorBlob* output);

/**
 * @brief Reads an instance's status.
 * @param      handle  From ZorIntfCreate().
 * @param[out] status  0 to 255; what it means is the server's. Written on success only; 0 when the
 *                     reply holds none.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfGetStatus(uint32_t handle, uint32_t* status);

/**
 * @brief Registers the event callback, replacing any earlier one.
 *
 * Sends nothing and needs no server. Takes effect with the next notification. A notification that
 * is being delivered goes to the earlier callback, which may still be running when this returns.
 * Notifications that arrive while none is registered are lost, as are those that the server sends
 * before the library's thread has connected, a moment after the load; no call tells when it has.
 * @param callback  Null switches delivery off.
 * @return ::ZOR_SUCCESS, always.
 */
ZOR_API ZorResult ZorIntfRegEventCallback(ZorEventCallback callback);

/**
 * @brief Writes one float parameter of an instance.
 *
 * The parameter "supproted_algo_name" (spelt so) carries an algorithm id: a position in the list of
 * ZorIntfEnum() with selector 2, translated into the server's id before it is sent. The record's
 * `value` then holds the server's id, whatever the result, unless no algorithm has the id: then the
 * result is ::ZOR_UNKNOWN_ALGORITHM, nothing was sent and the record is as it was. Of the
 * algorithms that this machine does not have, all with the id -1.0, the value -1.0 sends the first.
 * @param         handle  From ZorIntfCreate().
 * @param[in,out] param   What to set. A server that answers with the parameter updates `value`.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED, ::ZOR_UNKNOWN_ALGORITHM or
 *         the server's own result.
 */
ZOR_API ZorResult ZorIntfSet(uint32_t handle, ZorFloatParam* param);

/**
 * @brief Writes a block of bytes to an instance.
 * @param handle  From ZorIntfCreate().
 * @param blob    `name` may be null (left out of the request). `size` may be 0, with any `data`; it
 *                must be below 2 GiB less 2 KiB, else ::ZOR_TRANSPORT_FAILURE.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfSetSerialized(uint32_t handle, const ZorBlob* blob);

/**
 * @brief Starts an instance.
 * @param handle  From ZorIntfCreate().
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfStart(uint32_t handle);

/**
 * @brief Stops an instance.
 * @param handle  From ZorIntfCreate().
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfStop(uint32_t handle);

/** @name The calls as function pointers
 *
 * For programs that find the calls at run time, with `GetProcAddress` or zor_loader.h.
 * @{
 */
typedef ZorResult (*ZorIntfConfigFunction)(uint32_t handle,
                                           const ZorTextParam* param); /**< Of ZorIntfConfig(). */
typedef ZorResult (*ZorIntfCreateFunction)(uint32_t* handle,
                                           const ZorTextParam* param); /**< Of ZorIntfCreate(). */
typedef ZorResult (*ZorIntfDestroyFunction)(uint32_t handle);          /**< Of ZorIntfDestroy(). */
typedef ZorResult (*ZorIntfEnumFunction)(uint32_t selector,
                                         ZorNameList* list); /**< Of ZorIntfEnum(). */
typedef ZorResult (*ZorIntfFreeSerializedFunction)(
    uint32_t handle, ZorBlob* blob); /**< Of ZorIntfFreeSerialized(). */
typedef ZorResult (*ZorIntfGetFunction)(uint32_t handle,
                                        ZorFloatParam* param);    /**< Of ZorIntfGet(). */
typedef ZorResult (*ZorIntfGetInfoFunction)(ZorServerInfo* info); /**< Of ZorIntfGetInfo(). */
typedef ZorResult (*ZorIntfGetSerializedFunction)(
    uint32_t handle, const ZorBlob* input, ZorBlob* output); /**< Of ZorIntfGetSerialized(). */
typedef ZorResult (*ZorIntfGetStatusFunction)(uint32_t handle,
                                              uint32_t* status); /**< Of ZorIntfGetStatus(). */
typedef ZorResult (*ZorIntfRegEventCallbackFunction)(
    ZorEventCallback callback); /**< Of ZorIntfRegEventCallback(). */
typedef ZorResult (*ZorIntfSetFunction)(uint32_t handle,
                                        ZorFloatParam* param); /**< Of ZorIntfSet(). */
typedef ZorResult (*ZorIntfSetSerializedFunction)(
    uint32_t handle, const ZorBlob* blob);                  /**< Of ZorIntfSetSerialized(). */
typedef ZorResult (*ZorIntfStartFunction)(uint32_t handle); /**< Of ZorIntfStart(). */
typedef ZorResult (*ZorIntfStopFunction)(uint32_t handle);  /**< Of ZorIntfStop(). */
/** @} */

#ifdef __cplusplus
}
#endif

#endif
