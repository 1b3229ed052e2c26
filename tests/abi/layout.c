/* The interface in C: the records' layout and the functions' types, checked by compiling. */
#include <stddef.h>

#include "zor_interface.h"

#if __STDC_VERSION__ >= 201112L
#define ABI_CHECK(name, condition) _Static_assert(condition, #name)
#else
/* A C99 compiler has no assertion of its own: an array of a negative size does not compile. */
#define ABI_CHECK(name, condition) typedef char name[(condition) ? 1 : -1]
#endif
#define ABI_ALIGN(type) \
  offsetof(             \
      struct {          \
        char before;    \
        type aligned;   \
      },                \
      aligned)
/* Pointers to two types do not mix in a conditional expression. */
#define ABI_IS(record, member, type) \
  (sizeof(1 ? &((record*)NULL)->member : (type*)NULL) == sizeof(void*))

#include "layout_facts.h"

ABI_CHECK(result_is_unsigned, (ZorResult)-1 > 0);

/* A pointer of the exact type to each function: one of another type does not compile. */
void zor_abi_functions(void);
void zor_abi_functions(void) {
  ZorResult (*config)(uint32_t, const ZorTextParam*) = ZorIntfConfig;
  ZorResult (*create)(uint32_t*, const ZorTextParam*) = ZorIntfCreate;
  ZorResult (*destroy)(uint32_t) = ZorIntfDestroy;
  ZorResult (*enumerate)(uint32_t, ZorNameList*) = ZorIntfEnum;
  ZorResult (*free_serialized)(uint32_t, ZorBlob*) = ZorIntfFreeSerialized;
  ZorResult (*get)(uint32_t, ZorFloatParam*) = ZorIntfGet;
  ZorResult (*get_info)(ZorServerInfo*) = ZorIntfGetInfo;
  ZorResult (*get_serialized)(uint32_t, const ZorBlob*, ZorBlob*) = ZorIntfGetSerialized;
  ZorResult (*get_status)(uint32_t, uint32_t*) = ZorIntfGetStatus;
  ZorResult (*reg_event_callback)(void (*)(ZorEvent*)) = ZorIntfRegEventCallback;
  ZorResult (*set)(uint32_t, ZorFloatParam*) = ZorIntfSet;
  ZorResult (*set_serialized)(uint32_t, const ZorBlob*) = ZorIntfSetSerialized;
  ZorResult (*start)(uint32_t) = ZorIntfStart;
  ZorResult (*stop)(uint32_t) = ZorIntfStop;
  (void)config, (void)create, (void)destroy, (void)enumerate, (void)free_serialized, (void)get;
  (void)get_info, (void)get_serialized, (void)get_status, (void)reg_event_callback, (void)set;
  (void)set_serialized, (void)start, (void)stop;
}
