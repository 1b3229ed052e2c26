/* A result's text as a C compiler sees the header. */
#ifndef ZOR_TESTS_CPP_RESULT_TEXT_H
#define ZOR_TESTS_CPP_RESULT_TEXT_H

#include "interface/zor_interface.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Valid until the next call. */
const char* result_text_in_c(ZorResult result);

#ifdef __cplusplus
}
#endif

#endif
