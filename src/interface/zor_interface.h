/**
 * @file zor_interface.h
 * @brief The audio server's client library, `ZorInterface.dll`: its records, results and calls.
 *
 * An application loads the library to use audio-processing instances that live in a separate audio
 * server on the same machine. Twelve of the fourteen calls send one request to the server's pipe
 * `\\.\Pipe\ZorSWNRpipe` and wait for one reply. ZorIntfRegEventCallback() and
 * ZorIntfFreeSerialized() send nothing. A background thread of the library reads the server's
 * notifications from the pipe `\\.\Pipe\ZorSWNRpipeNotify` and calls the application's callback.
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
 * Call ZorIntfGetInfo() and ZorIntfEnum() first. ZorIntfCreate() then returns the handle that all
 * calls about the instance need: ZorIntfConfig(), ZorIntfStart(), the parameter calls, and at the
 * end ZorIntfStop() and ZorIntfDestroy(). The library does not enforce this order. It sends what it
 * is given, and the server refuses a call that comes at the wrong time with a result of its own.
 *
 * ## Threads
 * Every call runs on the caller's thread. A call that has sent its request blocks until the server
 * replies or the pipe breaks; there is no time-out. The library takes no lock: call it from one
 * thread at a time. ZorIntfRegEventCallback() is the exception: any thread may call it at any time.
 *
 * ## Loading and unloading
 * Loading itself opens no pipe and sends nothing. It starts the one background thread, which
 * connects to the notification pipe a moment later, without being asked. `FreeLibrary` returns when
 * that thread has ended: after about 100 ms at most (one sleep of 100 ms, which the system may
 * round up), plus the time that a running callback still takes. A process may also simply exit.
 *
 * - Do not unload the library while a call is running.
 * - Do not unload it from the event callback. The library would wait for itself; instead, the
 *   process is terminated.
 * - Do not use it from `DllMain`, nor from static constructors and destructors.
 *
 * Loading fails when the system has no thread or no memory for the library. `LoadLibrary` then
 * returns null with error 1114 (`ERROR_DLL_INIT_FAILED`), and nothing stays behind. A program that
 * is linked with the library does not start.
 *
 * ## Memory
 * What an application passes in remains its own; the library copies it before the call returns.
 * What a call hands out comes from the process-wide heap of the Universal C Runtime. Each call says
 * who frees it.
 *
 * ## The algorithms of this machine
 * ZorIntfEnum() with selector 2 searches this machine, at every call, for the installed audio
 * driver and the algorithm libraries of its package. The following concerns this call only.
 * - The application must have initialised COM on the calling thread (`CoInitializeEx`, in either
 *   mode). Without COM no driver is found, and the list is the server's.
 * - The call sets the security of COM for the process (default authentication, impersonation),
 *   unless it has been set before. Either is fine.
 * - The call loads each library of the package, asks it for its information and unloads it. So code
 *   of the driver package runs on the calling thread. A library that cannot be loaded is skipped;
 *   the system shows no message box for it.
 * - The call sets the package's folder by `SetDllDirectoryW` and leaves it set. In the process's
 *   search for libraries this folder replaces the current directory, and any folder that the
 *   application had set. To undo this, call `SetDllDirectoryW` afterwards: with `NULL` for the
 *   system's default, or with your own folder.
 * - On a single-threaded apartment COM dispatches window messages while the call waits for the
 *   management service (WMI). A window procedure may call ZorIntfEnum() then, even with the same
 *   record. If the outer call succeeds, its list replaces the inner one's, which is freed. If the
 *   outer call's search fails, the record holds what the inner call has left there.
 *
 * ## Errors
 * A call reports nothing but its result (see ::ZorResult). Four kinds of failure also write a line
 * with the prefix "[zor] " to the debugger output: a pipe cannot be opened; a reply is not a valid
 * message; the server refuses a call; the search of this machine finds no driver or no package of
 * its version, or cannot set the package's folder. No other failure writes a line. No call checks a
 * pointer to a record for null: do not pass null.
 *
 * ## Out of memory
 * When the library has no memory, a call throws the C++ exception `std::bad_alloc`. Only
 * ZorIntfRegEventCallback() and ZorIntfFreeSerialized() never do. (For the data of a block there is
 * a result instead: see ZorIntfGetSerialized().) No call throws anything else. A line of the
 * debugger output is dropped if there is no memory for it. The background thread allocates nothing
 * else, so it delivers its notifications all the same.
 *
 * Who can catch the exception depends on the compiler of the caller:
 * - C++ built with GCC (MinGW) can catch it. GCC's runtime needs some memory when a thread catches
 *   its first exception, and ends the process (`abort`) if there is none.
 * - C built with GCC cannot: the process ends.
 * - Microsoft's C++ compiler, and clang in its mode, cannot: the exception is GCC's. If there is a
 *   `__try` or a `catch` between the call and the beginning of the thread, it is never reached: the
 *   thread runs inside the unwinder for ever. Besides, `/EHsc` allows the compiler to remove a
 *   `catch` around a call of an `extern "C"` function (`/EHs` does not).
 *
 * An application that is not C++ built with GCC should treat this as the end of the process.
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
 * A server may itself send 1, 2 or 3; the number alone does not tell the two sources apart. The
 * debugger output does: a server's result, and only a server's, is logged as "[%s] The ZorRet: %d".
 */
typedef uint32_t ZorResult;

/** @brief The results that have a name. */
enum {
  /** The reply has the result 0, or none. */
  ZOR_SUCCESS = 0,
  /** The request could not be written; or the reply could not be read, was longer than 1024 bytes
      or was not a valid message; or a local step of the call failed: the search of this machine, a
      block that is too large, no memory for a block. A local step fails again until its cause is
      removed. */
  ZOR_TRANSPORT_FAILURE = 1,
  /** The request pipe could not be opened, and nothing was sent. The server is not running (system
      error 2), all its pipe instances are in use (231), or it denies access to this user or
      process (5); the debugger output has the error's number. The next call tries again. */
  ZOR_NOT_CONNECTED = 2,
  /** ZorIntfSet() or ZorIntfGet() of "supproted_algo_name": ZorIntfEnum() has not listed an
      algorithm with this id, or has not been called. */
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
 * Zero the record before its first use. The library allocates `items` and the names. The next
 * ZorIntfEnum() with the same record frees them, if it succeeds. There is no other function that
 * does. Never free them yourself.
 */
typedef struct ZorNameList {
  /** Number of slots in `items`. */
  uint32_t count;
  /** `count` NUL-terminated 8-bit names. Any of them may be null. Null when `count` is 0. */
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
 * earlier notifications left there, stale pointers included, and zeros before the first of them. A
 * notification with a type above 5 sets nothing in `data`.
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
 * The record and its texts are valid until the callback returns: copy what you want to keep. The
 * next notification is read, and `FreeLibrary` returns, only after the callback has returned. The
 * callback may make calls, as long as no other thread makes one at the same time.
 *
 * A callback must not
 * - throw, or unload the library;
 * - wait for a thread that loads or unloads any library. Such a thread holds the system's loader
 *   lock;
 * - load or unload a library (as ZorIntfEnum() does with selector 2), start a thread and wait for
 *   it, or wait for a thread to end, while another thread may be unloading this library. All of
 *   these need the loader lock. The unload holds it until the callback returns: a deadlock;
 * - end its thread (`ExitThread`): the unload would wait for ever;
 * - leave its thread in another state. The thread belongs to a thread pool. At the unload the
 *   library restores the thread's priority and affinity and removes its token. The callback itself
 *   must undo everything else, such as `CoInitializeEx`, preferred languages and transactions.
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
 *                     if the reply has none.
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
 * Selector 2 compares the server's algorithms with those that are installed on this machine; COM
 * must be initialised (see "The algorithms of this machine" above). Let K be the number of
 * algorithms that the server lists, and L the number installed here. L counts the libraries that
 * returned their information, each once for every algorithm that its file name stands for. So two
 * libraries of one algorithm count twice.
 * - If L is 0 or equals K, the list is the server's.
 * - Otherwise the list has L entries. Entry i is the server's algorithm with the id i if it is
 *   installed here, and null if not. An installed algorithm with an id of L or more is not in the
 *   list, but ZorIntfSet() accepts its id.
 *
 * Example: the server lists "general", "private", "whisper"; "general" and "whisper" are installed.
 * The list is "general", null. The id of "whisper" is 2.
 *
 * An algorithm's id is its position in the server's list. If the list differs from the server's, it
 * is its position in all lists that this process has fetched with selector 2: each such call
 * appends the server's list to the table of ids, and nothing is removed. So a later call may change
 * ids. Enumerate once, and keep the ids. Ids have 16 bits: from row 32,768 on they wrap around, and
 * an algorithm with a negative id is not in the list.
 * @param         selector  Which list. The server sees the low 8 bits; only the number 2 itself
 *                          looks at this machine.
 * @param[in,out] list      Zeroed before its first use. On success its previous contents are freed
 *                          and replaced. Otherwise it is left as it was, except as told below.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 *         If the search of this machine fails, the result is ::ZOR_TRANSPORT_FAILURE and the
 *         list is empty. This happens when the driver store or the package's folder cannot be
 *         listed, or when one of the four parts of a version is not a 32-bit number. No line of the
 *         debugger output says so, and every further call fails until the machine is repaired.
 *         After `std::bad_alloc` the list is valid, but names may be missing.
 */
ZOR_API ZorResult ZorIntfEnum(uint32_t selector, ZorNameList* list);

/**
 * @brief Frees the `data` of a record that ZorIntfGetSerialized() filled, and nothing else.
 *
 * Sends nothing. Changes nothing in the record, not even `data`: do not call it twice for the same
 * block. The record's `name` belongs to the application: release it with `free` of the Universal C
 * Runtime.
 * @param handle  Ignored.
 * @param blob    `data` may be null.
 * @return ::ZOR_SUCCESS, always.
 */
ZOR_API ZorResult ZorIntfFreeSerialized(uint32_t handle, ZorBlob* blob);

/**
 * @brief Reads one float parameter of an instance.
 *
 * The parameter "supproted_algo_name" (spelt so) is an algorithm id. The library translates the
 * server's id into a position in the list of ZorIntfEnum() with selector 2. For an algorithm that
 * is not installed on this machine `value` is -1.0, with ::ZOR_SUCCESS. If the server's id is not
 * known, the result is ::ZOR_UNKNOWN_ALGORITHM and `value` is the server's id.
 * @param         handle  From ZorIntfCreate().
 * @param[in,out] param   `name` says which; `value` is sent along and, on success, replaced by the
 *                        value in the reply. A reply without a parameter leaves it as it was. For
 *                        "supproted_algo_name" the value passed in then counts as the server's id.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED, ::ZOR_UNKNOWN_ALGORITHM or
 *         the server's own result.
 */
ZOR_API ZorResult ZorIntfGet(uint32_t handle, ZorFloatParam* param);

/**
 * @brief Reads the server's four information words.
 * @param[out] info  Written on success only; all zero if the reply has none.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfGetInfo(ZorServerInfo* info);

/**
 * @brief Reads a block of bytes from an instance.
 *
 * The whole reply must fit in 1024 bytes, so a block can have a little less. For a longer reply the
 * result is ::ZOR_TRANSPORT_FAILURE.
 * @param      handle  From ZorIntfCreate().
 * @param      input   `name` says which; its `size` bytes at `data`, if any, are sent along. A null
 *                     `name` is left out of the request, and the name handed back is then null.
 *                     `size` must be below 2 GiB - 2 KiB; otherwise the result is
 *                     ::ZOR_TRANSPORT_FAILURE.
 * @param[out] output  On success: `name`, a copy of the input's, which the application frees;
 *                     `size`; and `data`, `size` bytes for ZorIntfFreeSerialized(), not null even
 *                     when `size` is 0. The record is left as it was if the reply holds no block,
 *                     and on every other result, with one exception: if there is no memory for
 *                     `data`, the result is ::ZOR_TRANSPORT_FAILURE, `data` is null, and `name`
 *                     and `size` are written. If there is no memory for `name`, it is null.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfGetSerialized(uint32_t handle, const ZorBlob* input, ZorBlob* output);

/**
 * @brief Reads an instance's status.
 * @param      handle  From ZorIntfCreate().
 * @param[out] status  0 to 255; what it means is the server's. Written on success only; 0 if
 *                     the reply has none.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED or the server's own result.
 */
ZOR_API ZorResult ZorIntfGetStatus(uint32_t handle, uint32_t* status);

/**
 * @brief Registers the event callback, replacing any earlier one.
 *
 * Sends nothing and needs no server. It takes effect with the next notification. A notification
 * that is being delivered still goes to the earlier callback, which may still be running when this
 * call returns. Notifications that arrive while no callback is registered are dropped. So are those
 * that the server sends before the library's thread has connected, a moment after the load; no call
 * tells when it has connected.
 * @param callback  Null switches delivery off.
 * @return ::ZOR_SUCCESS, always.
 */
ZOR_API ZorResult ZorIntfRegEventCallback(ZorEventCallback callback);

/**
 * @brief Writes one float parameter of an instance.
 *
 * The parameter "supproted_algo_name" (spelt so) is an algorithm id: a position in the list of
 * ZorIntfEnum() with selector 2. The library translates it into the server's id and sends that.
 * `value` then holds the server's id, whatever the result. If no algorithm has the id, the result
 * is ::ZOR_UNKNOWN_ALGORITHM, nothing is sent and the record is left as it was. All algorithms that
 * are not installed on this machine share the id -1.0; to set -1.0 selects the first of them.
 * @param         handle  From ZorIntfCreate().
 * @param[in,out] param   What to set. If the reply has the parameter, its value replaces `value`.
 * @return ::ZOR_SUCCESS, ::ZOR_TRANSPORT_FAILURE, ::ZOR_NOT_CONNECTED, ::ZOR_UNKNOWN_ALGORITHM or
 *         the server's own result.
 */
ZOR_API ZorResult ZorIntfSet(uint32_t handle, ZorFloatParam* param);

/**
 * @brief Writes a block of bytes to an instance.
 * @param handle  From ZorIntfCreate().
 * @param blob    `name` may be null (left out of the request). `size` may be 0, with any `data`. It
 *                must be below 2 GiB - 2 KiB; otherwise the result is ::ZOR_TRANSPORT_FAILURE.
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
