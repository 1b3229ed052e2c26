/**
 * @file zor_loader.h
 * @brief Loads `ZorInterface.dll` at run time, in C99 or C++11 and later. Header-only.
 *
 * For programs that must start without the library, that load and unload it themselves, or that
 * tell their user why it cannot be used; and for bindings of other languages. It needs no import
 * library, only kernel32.
 *
 * @code
 * #include <stdio.h>
 * #include "zor_loader.h"
 *
 * int main(void) {
 *   ZorLibrary zor = {NULL};
 *   ZorLoadError error;
 *   ZorServerInfo info;
 *   if (zor_load(&zor, NULL, &error) != ZOR_LOAD_OK) { // NULL: beside the program
 *     char text[ZOR_LOAD_TEXT_SIZE];
 *     printf("%ls: %s\n", error.path, zor_load_text(&error, text));
 *     return 1;
 *   }
 *   if (zor.ZorIntfGetInfo(&info) == ZOR_SUCCESS) printf("server %u\n", (unsigned)info.info0);
 *   zor_unload(&zor);
 *   return 0;
 * }
 * @endcode
 *
 * The library is loaded by its full path. So the process's search path for libraries does not
 * matter, and a file of the same name elsewhere is never loaded. Before any code of the file runs,
 * the version in its version resource is compared with this header's.
 *
 * A ::ZorLibrary takes no lock: load and unload with one from one thread at a time.
 */
#ifndef ZOR_LOADER_H
#define ZOR_LOADER_H

#include <stdbool.h>
#include <stddef.h>
#include <string.h>
#include <windows.h>

#include "zor_interface.h"
#include "zor_result.h"

/* NOLINTBEGIN(modernize-use-nullptr,readability-implicit-bool-conversion): the code is C, too. */
/* NOLINTBEGIN(cppcoreguidelines-init-variables) */

#ifdef __cplusplus
extern "C" {
#endif

/** Sizes of the loader's texts, in characters. */
enum {
  ZOR_LOAD_TEXT_SIZE = 160,  /**< The buffer for zor_load_text(). */
  ZOR_LOAD_PATH_SIZE = 1024, /**< The longest path of a library, with its NUL. */
  ZOR_EXPORT_COUNT = 14      /**< How many calls there are. */
};

/** @brief Why a library was not loaded. */
typedef enum ZorLoadStatus {
  ZOR_LOAD_OK = 0,         /**< It is loaded. */
  ZOR_LOAD_BAD_PATH,       /**< The path is not a full one, or is too long. */
  ZOR_LOAD_FILE_MISSING,   /**< There is no such file. */
  ZOR_LOAD_NOT_A_LIBRARY,  /**< The file is no Windows library, or is damaged. */
  ZOR_LOAD_WRONG_BITNESS,  /**< The file is for another processor than the program, such as a
                                64-bit library for a 32-bit program. */
  ZOR_LOAD_WRONG_VERSION,  /**< The file has another version than this header, or none. */
  ZOR_LOAD_EXPORT_MISSING, /**< The library lacks one of the calls. */
  ZOR_LOAD_FAILED          /**< The system refused, with ZorLoadError::system_error. */
} ZorLoadStatus;

/** @brief A version as in the resource of a file. */
typedef struct ZorFileVersion {
  uint32_t major_number; /**< The first number. */
  uint32_t minor_number; /**< The second. */
  uint32_t patch_number; /**< The third. */
} ZorFileVersion;

/** @brief What zor_load() found. */
typedef struct ZorLoadError {
  ZorLoadStatus status;       /**< What zor_load() returned. */
  uint32_t system_error;      /**< The system's error number, or 0. */
  const char* missing_export; /**< For ::ZOR_LOAD_EXPORT_MISSING; else null. */
  ZorFileVersion version;     /**< The file's version; all 0 if it has none or was not read. */
  wchar_t path[ZOR_LOAD_PATH_SIZE]; /**< The file; empty when the path is a bad one. */
} ZorLoadError;

/**
 * @brief The loaded library: its calls, under their own names.
 *
 * Zero the record before its first use. All pointers are null while nothing is loaded.
 */
typedef struct ZorLibrary {
  HMODULE module;                                          /**< The library; null: not loaded. */
  ZorIntfConfigFunction ZorIntfConfig;                     /**< ::ZorIntfConfig */
  ZorIntfCreateFunction ZorIntfCreate;                     /**< ::ZorIntfCreate */
  ZorIntfDestroyFunction ZorIntfDestroy;                   /**< ::ZorIntfDestroy */
  ZorIntfEnumFunction ZorIntfEnum;                         /**< ::ZorIntfEnum; see zor_enum() */
  ZorIntfFreeSerializedFunction ZorIntfFreeSerialized;     /**< ::ZorIntfFreeSerialized */
  ZorIntfGetFunction ZorIntfGet;                           /**< ::ZorIntfGet */
  ZorIntfGetInfoFunction ZorIntfGetInfo;                   /**< ::ZorIntfGetInfo */
  ZorIntfGetSerializedFunction ZorIntfGetSerialized;       /**< ::ZorIntfGetSerialized */
  ZorIntfGetStatusFunction ZorIntfGetStatus;               /**< ::ZorIntfGetStatus */
  ZorIntfRegEventCallbackFunction ZorIntfRegEventCallback; /**< ::ZorIntfRegEventCallback */
  ZorIntfSetFunction ZorIntfSet;                           /**< ::ZorIntfSet */
  ZorIntfSetSerializedFunction ZorIntfSetSerialized;       /**< ::ZorIntfSetSerialized */
  ZorIntfStartFunction ZorIntfStart;                       /**< ::ZorIntfStart */
  ZorIntfStopFunction ZorIntfStop;                         /**< ::ZorIntfStop */
} ZorLibrary;

/** @cond INTERNAL */

/* The start of a version resource, whose only root has this layout. */
typedef struct ZorVersionResource {
  WORD length;
  WORD value_length;
  WORD type;
  WCHAR key[16]; /* "VS_VERSION_INFO" */
  WORD padding;
  VS_FIXEDFILEINFO info;
} ZorVersionResource;

/* Whether the path begins with a drive or with two backslashes. */
ZOR_INLINE bool zor_is_full_path(const wchar_t* path) {
  if (path[0] == L'\\') return path[1] == L'\\';
  return path[0] != L'\0' && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
}

/* Writes the path of ZorInterface.dll beside the program; false when it is too long. */
ZOR_INLINE bool zor_path_beside_program(wchar_t* path) {
  static const wchar_t name[] = L"ZorInterface.dll";
  DWORD end = GetModuleFileNameW(NULL, path, ZOR_LOAD_PATH_SIZE);
  if (end == 0 || end >= ZOR_LOAD_PATH_SIZE) return false;
  while (end > 0 && path[end - 1] != L'\\') --end;
  if (end + sizeof name / sizeof name[0] > ZOR_LOAD_PATH_SIZE) return false;
  memcpy(path + end, name, sizeof name);
  return true;
}

/* Writes "MAJOR.MINOR" as zor_append_text() does. */
ZOR_INLINE char* zor_append_version(char* at, uint32_t major_number, uint32_t minor_number) {
  return zor_append_number(zor_append_text(zor_append_number(at, major_number), "."), minor_number);
}

/* Reads the version from the file's resource, without running any of the file's code. Leaves
   `version` as it was when there is none. */
ZOR_INLINE void zor_read_version(const wchar_t* path, ZorFileVersion* version) {
  ZorVersionResource resource;
  HRSRC found;
  HMODULE file = LoadLibraryExW(path, NULL, LOAD_LIBRARY_AS_DATAFILE);
  if (file == NULL) return;
  found =
      FindResourceW(file, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16)); /* RT_VERSION */
  if (found != NULL && SizeofResource(file, found) >= sizeof resource) {
    HGLOBAL loaded = LoadResource(file, found);
    if (loaded != NULL) {
      memcpy(&resource, LockResource(loaded), sizeof resource);
      if (resource.info.dwSignature == VS_FFI_SIGNATURE) {
        version->major_number = HIWORD(resource.info.dwFileVersionMS);
        version->minor_number = LOWORD(resource.info.dwFileVersionMS);
        version->patch_number = HIWORD(resource.info.dwFileVersionLS);
      }
    }
  }
  FreeLibrary(file);
}

/* Whether the file is there and a library for this program, by its first bytes. */
ZOR_INLINE ZorLoadStatus zor_check_file(const wchar_t* path, uint32_t* system_error) {
  IMAGE_DOS_HEADER start;
  struct {
    DWORD signature;
    WORD machine;
    WORD sections;
  } header = {0, 0, 0};
  DWORD size = 0;
  bool is_image = false;
  HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, NULL,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, NULL);
  if (file == INVALID_HANDLE_VALUE) {
    *system_error = GetLastError();
    return *system_error == ERROR_FILE_NOT_FOUND || *system_error == ERROR_PATH_NOT_FOUND
               ? ZOR_LOAD_FILE_MISSING
               : ZOR_LOAD_FAILED;
  }
  is_image = ReadFile(file, &start, sizeof start, &size, NULL) && size == sizeof start &&
             SetFilePointer(file, start.e_lfanew, NULL, FILE_BEGIN) != INVALID_SET_FILE_POINTER &&
             ReadFile(file, &header, sizeof header, &size, NULL) && size == sizeof header &&
             header.signature == IMAGE_NT_SIGNATURE;
  CloseHandle(file);
  if (!is_image) return ZOR_LOAD_NOT_A_LIBRARY;
  return sizeof(void*) == 8 && header.machine == IMAGE_FILE_MACHINE_AMD64 ? ZOR_LOAD_OK
                                                                          : ZOR_LOAD_WRONG_BITNESS;
}

/* Finds every call; returns the name of one that is missing, or null. */
ZOR_INLINE const char* zor_find_exports(ZorLibrary* library) {
  struct {
    const char* name;
    void* function;
  } const exports[ZOR_EXPORT_COUNT] = {
      {"ZorIntfConfig", &library->ZorIntfConfig},
      {"ZorIntfCreate", &library->ZorIntfCreate},
      {"ZorIntfDestroy", &library->ZorIntfDestroy},
      {"ZorIntfEnum", &library->ZorIntfEnum},
      {"ZorIntfFreeSerialized", &library->ZorIntfFreeSerialized},
      {"ZorIntfGet", &library->ZorIntfGet},
      {"ZorIntfGetInfo", &library->ZorIntfGetInfo},
      {"ZorIntfGetSerialized", &library->ZorIntfGetSerialized},
      {"ZorIntfGetStatus", &library->ZorIntfGetStatus},
      {"ZorIntfRegEventCallback", &library->ZorIntfRegEventCallback},
      {"ZorIntfSet", &library->ZorIntfSet},
      {"ZorIntfSetSerialized", &library->ZorIntfSetSerialized},
      {"ZorIntfStart", &library->ZorIntfStart},
      {"ZorIntfStop", &library->ZorIntfStop},
  };
  size_t i = 0;
  for (i = 0; i < ZOR_EXPORT_COUNT; ++i) {
    const FARPROC found = GetProcAddress(library->module, exports[i].name);
    if (found == NULL) return exports[i].name;
    memcpy(exports[i].function, &found, sizeof found);
  }
  return NULL;
}

/* Writes the full path of the library; null stands for the one beside the program. */
ZOR_INLINE bool zor_complete_path(const wchar_t* wanted, wchar_t* path) {
  size_t size = 0;
  if (wanted == NULL) return zor_path_beside_program(path);
  if (!zor_is_full_path(wanted)) return false;
  while (wanted[size++] != L'\0') {
  }
  if (size > ZOR_LOAD_PATH_SIZE) return false;
  memcpy(path, wanted, size * sizeof wanted[0]);
  return true;
}

/* Loads a library; fills an error that is all zero. */
ZOR_INLINE ZorLoadStatus zor_try_load(ZorLibrary* library, const wchar_t* path,
                                      ZorLoadError* error) {
  ZorLoadStatus status = ZOR_LOAD_OK;
  if (!zor_complete_path(path, error->path)) return ZOR_LOAD_BAD_PATH;
  status = zor_check_file(error->path, &error->system_error);
  if (status != ZOR_LOAD_OK) return status;
  zor_read_version(error->path, &error->version);
  if (error->version.major_number != ZOR_VERSION_MAJOR ||
      error->version.minor_number != ZOR_VERSION_MINOR) {
    return ZOR_LOAD_WRONG_VERSION;
  }
  /* Not the search path for what the library needs either: all of it is the system's. */
  library->module = LoadLibraryExW(error->path, NULL, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library->module == NULL) {
    error->system_error = GetLastError();
    return error->system_error == ERROR_BAD_EXE_FORMAT ? ZOR_LOAD_NOT_A_LIBRARY : ZOR_LOAD_FAILED;
  }
  error->missing_export = zor_find_exports(library);
  return error->missing_export == NULL ? ZOR_LOAD_OK : ZOR_LOAD_EXPORT_MISSING;
}

/** @endcond */

/**
 * @brief Unloads the library and clears the record; does nothing when nothing is loaded.
 *
 * Returns when the library's thread has ended: after about 100 ms at most, plus the time that a
 * running callback still takes. Do not call it while a call is running, nor from the event
 * callback.
 * @param library  From zor_load(), or zeroed.
 * @return Whether the library has left the process. If other code in the process has loaded the
 *         library too, it stays, with its connection, its ids and its callback.
 */
ZOR_INLINE bool zor_unload(ZorLibrary* library) {
  const HMODULE module = library->module;
  HMODULE left = NULL;
  const wchar_t* address = NULL;
  memset(library, 0, sizeof *library);
  if (module == NULL) return true;
  FreeLibrary(module);
  memcpy(&address, &module, sizeof address);
  return !GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      address, &left);
}

/**
 * @brief Loads the library and finds its calls; does nothing if it is loaded already.
 *
 * The file's first two version numbers must be ::ZOR_VERSION_MAJOR and ::ZOR_VERSION_MINOR.
 * @param      library  Zeroed before its first use. Unchanged unless the library is loaded.
 * @param      path     The full path of the file; null: `ZorInterface.dll` beside the program.
 * @param[out] error    What was found; may be null.
 * @return ::ZOR_LOAD_OK, or why the library is not loaded.
 */
ZOR_INLINE ZorLoadStatus zor_load(ZorLibrary* library, const wchar_t* path, ZorLoadError* error) {
  ZorLoadError unused;
  DWORD mode = 0;
  if (error == NULL) error = &unused;
  memset(error, 0, sizeof *error);
  if (library->module != NULL) return ZOR_LOAD_OK;
  /* Without boxes that the system would show the user of a damaged file. */
  SetThreadErrorMode(SEM_FAILCRITICALERRORS, &mode);
  error->status = zor_try_load(library, path, error);
  if (error->status != ZOR_LOAD_OK) zor_unload(library);
  SetThreadErrorMode(mode, NULL);
  return error->status;
}

/**
 * @brief Describes what zor_load() has found.
 * @param error   From zor_load().
 * @param buffer  ZOR_LOAD_TEXT_SIZE characters.
 * @return `buffer`: a text in English, without a full stop and without the path.
 */
ZOR_INLINE const char* zor_load_text(const ZorLoadError* error, char* buffer) {
  char* end = buffer;
  switch (error->status) {
    case ZOR_LOAD_OK:
      end = zor_append_text(end, "the library is loaded");
      break;
    case ZOR_LOAD_BAD_PATH:
      end = zor_append_text(end, "the path of the library is not a full path, or is too long");
      break;
    case ZOR_LOAD_FILE_MISSING:
      end = zor_append_text(end, "there is no such file");
      break;
    case ZOR_LOAD_NOT_A_LIBRARY:
      end = zor_append_text(end, "the file is not a library, or is damaged");
      break;
    case ZOR_LOAD_WRONG_BITNESS:
      end = zor_append_text(end, "the program and the library must both be for 64-bit x86");
      break;
    case ZOR_LOAD_WRONG_VERSION:
      end = zor_append_text(end, "the program needs version ");
      end = zor_append_version(end, ZOR_VERSION_MAJOR, ZOR_VERSION_MINOR);
      end = zor_append_text(end, "; the library's file has version ");
      end = zor_append_version(end, error->version.major_number, error->version.minor_number);
      break;
    case ZOR_LOAD_EXPORT_MISSING:
      end = zor_append_text(end, "the library has no function ");
      end = zor_append_text(end, error->missing_export);
      break;
    case ZOR_LOAD_FAILED:
      end = zor_append_text(end, "the system cannot load the library");
      break;
  }
  if (error->system_error != 0) {
    end = zor_append_text(end, " (error ");
    end = zor_append_number(end, error->system_error);
    zor_append_text(end, ")");
  }
  return buffer;
}

/**
 * @brief Calls ::ZorIntfEnum and restores the process's directory for libraries afterwards.
 *
 * With selector 2 ::ZorIntfEnum changes that directory (`SetDllDirectoryW`) as soon as it has found
 * a driver package, and does not change it back. This function does. The system does not tell an
 * empty directory from none at all: in both cases the call restores "none". A program that has
 * called `SetDllDirectoryW(L"")`, to keep the current directory out of the search, must call it
 * again afterwards.
 * @param         library   Loaded.
 * @param         selector  As for ::ZorIntfEnum.
 * @param[in,out] list      As for ::ZorIntfEnum.
 * @return The result of ::ZorIntfEnum. If there is no memory to save the directory,
 *         ::ZOR_TRANSPORT_FAILURE, without a call.
 */
ZOR_INLINE ZorResult zor_enum(const ZorLibrary* library, uint32_t selector, ZorNameList* list) {
  ZorResult result = ZOR_TRANSPORT_FAILURE;
  const DWORD size = GetDllDirectoryW(0, NULL);
  wchar_t* before = NULL;
  void* const memory = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, (size + 1) * sizeof *before);
  if (memory == NULL) return result;
  memcpy(&before, &memory, sizeof before);
  GetDllDirectoryW(size + 1, before);
  result = library->ZorIntfEnum(selector, list);
  if (before[0] != L'\0') {
    SetDllDirectoryW(before);
  } else if (GetDllDirectoryW(0, NULL) != size) {
    SetDllDirectoryW(NULL);
  }
  HeapFree(GetProcessHeap(), 0, memory);
  return result;
}

#ifdef __cplusplus
}
#endif

/* NOLINTEND(cppcoreguidelines-init-variables) */
/* NOLINTEND(modernize-use-nullptr,readability-implicit-bool-conversion) */

#endif
