/**
 * @file zor_result.h
 * @brief A text for each result, in C. Header-only; zor.hpp has the same texts.
 *
 * @code
 * char text[ZOR_RESULT_TEXT_SIZE];
 * ZorServerInfo info;
 * ZorResult result = ZorIntfGetInfo(&info);
 * if (result != ZOR_SUCCESS) puts(zor_result_text(result, text));
 * @endcode
 */
#ifndef ZOR_RESULT_H
#define ZOR_RESULT_H

#include "zor_interface.h"

/** @cond */
#ifdef __cplusplus
#define ZOR_INLINE inline
extern "C" {
#else
#define ZOR_INLINE static inline
#endif
/** @endcond */

/** The size of the buffer for zor_result_text(). */
enum { ZOR_RESULT_TEXT_SIZE = 32 };

/** @cond INTERNAL */

/* Both write at `at` and return the new end, where they also write a NUL. By hand, so that a
   program without a C runtime can use them too. */
ZOR_INLINE char* zor_append_text(char* at, const char* text) {
  while (*text != '\0') *at++ = *text++;
  *at = '\0';
  return at;
}

ZOR_INLINE char* zor_append_number(char* at, uint32_t number) {
  char reversed[10]; /* the digits of 2^32 - 1 */
  unsigned count = 0;
  do {
    reversed[count++] = "0123456789"[number % 10];
    number /= 10;
  } while (number != 0);
  while (count > 0) *at++ = reversed[--count];
  *at = '\0';
  return at;
}

/** @endcond */

/**
 * @brief Describes a result.
 * @param result  The result of any call, also one of the server's own.
 * @param buffer  ZOR_RESULT_TEXT_SIZE characters. Used only for a result of the server's own.
 * @return A text in English, without a full stop: a literal, or `buffer`.
 */
ZOR_INLINE const char* zor_result_text(ZorResult result, char* buffer) {
  switch (result) {
    case ZOR_SUCCESS:
      return "success";
    case ZOR_TRANSPORT_FAILURE:
      return "there is no valid reply from the server, or a local step failed";
    case ZOR_NOT_CONNECTED:
      return "the server is not running, is busy or denies access";
    case ZOR_UNKNOWN_ALGORITHM:
      return "no algorithm in the list has this id";
    default:
      (void)zor_append_number(zor_append_text(buffer, "the server returned "), result);
      return buffer;
  }
}

#ifdef __cplusplus
}
#endif

#endif
