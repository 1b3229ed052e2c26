/// What Microsoft's headers have and those of Wine do not: declarations alone, for a compiler that
/// only checks (scripts/check_msvc_mode.sh). Nothing is ever linked with this.
#pragma once

#include <stdlib.h>
#include <time.h>

#include <windows.h>

#ifdef __cplusplus
#include <locale.h>
#include <math.h>

// Wine has these as macros for C; the standard library for C++ wants functions.
#undef isnan
#undef isinf
#undef isfinite
#undef signbit
template <class Number>
bool isnan(Number value) {
  return __builtin_isnan(value);
}
template <class Number>
bool isinf(Number value) {
  return __builtin_isinf(value);
}
template <class Number>
bool isfinite(Number value) {
  return __builtin_isfinite(value);
}
template <class Number>
bool signbit(Number value) {
  return __builtin_signbit(value);
}

struct timespec {
  time_t tv_sec;
  long tv_nsec;
};

#ifndef MB_CUR_MAX
#define MB_CUR_MAX ___mb_cur_max_func()
#endif

extern "C" {
int _islower_l(int, _locale_t);
int _isupper_l(int, _locale_t);
float _strtof_l(const char*, char**, _locale_t);
double _strtod_l(const char*, char**, _locale_t);
int _vscwprintf_l(const wchar_t*, _locale_t, __builtin_va_list);
BOOL WINAPI GetThreadGroupAffinity(HANDLE, GROUP_AFFINITY*);
BOOL WINAPI SetThreadGroupAffinity(HANDLE, const GROUP_AFFINITY*, GROUP_AFFINITY*);
}

constexpr int THREAD_MODE_BACKGROUND_END = 0x20000;

void InitializeThreadpoolEnvironment(TP_CALLBACK_ENVIRON*);
void SetThreadpoolCallbackPool(TP_CALLBACK_ENVIRON*, TP_POOL*);
void DestroyThreadpoolEnvironment(TP_CALLBACK_ENVIRON*);
#endif
