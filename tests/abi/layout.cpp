// The interface in C++: the records' layout and the functions' types, checked by compiling.
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "zor_interface.h"

#define ABI_CHECK(name, condition) static_assert(condition, #name)
#define ABI_ALIGN(type) alignof(type)
#define ABI_IS(record, member, type) \
  std::is_same<decltype(std::declval<record>().member), type>::value

#include "layout_facts.h"

namespace {

template <typename Record>
constexpr bool IsPlain() {
  return std::is_standard_layout<Record>::value && std::is_trivial<Record>::value;
}

static_assert(IsPlain<ZorServerInfo>(), "");
static_assert(IsPlain<ZorTextParam>(), "");
static_assert(IsPlain<ZorFloatParam>(), "");
static_assert(IsPlain<ZorBlob>(), "");
static_assert(IsPlain<ZorNameList>(), "");
static_assert(IsPlain<ZorEvent>(), "");
static_assert(std::is_same<ZorResult, std::uint32_t>::value, "");
static_assert(std::is_same<ZorEventCallback, void (*)(ZorEvent*)>::value, "");

template <typename Function, typename Expected>
constexpr bool Is() {
  return std::is_same<Function, Expected>::value;
}

using Handle = std::uint32_t;
static_assert(Is<decltype(ZorIntfConfig), ZorResult(Handle, const ZorTextParam*)>(), "");
static_assert(Is<decltype(ZorIntfCreate), ZorResult(Handle*, const ZorTextParam*)>(), "");
static_assert(Is<decltype(ZorIntfDestroy), ZorResult(Handle)>(), "");
static_assert(Is<decltype(ZorIntfEnum), ZorResult(std::uint32_t, ZorNameList*)>(), "");
static_assert(Is<decltype(ZorIntfFreeSerialized), ZorResult(Handle, ZorBlob*)>(), "");
static_assert(Is<decltype(ZorIntfGet), ZorResult(Handle, ZorFloatParam*)>(), "");
static_assert(Is<decltype(ZorIntfGetInfo), ZorResult(ZorServerInfo*)>(), "");
static_assert(Is<decltype(ZorIntfGetSerialized), ZorResult(Handle, const ZorBlob*, ZorBlob*)>(),
              "");
static_assert(Is<decltype(ZorIntfGetStatus), ZorResult(Handle, std::uint32_t*)>(), "");
static_assert(Is<decltype(ZorIntfRegEventCallback), ZorResult(void (*)(ZorEvent*))>(), "");
static_assert(Is<decltype(ZorIntfSet), ZorResult(Handle, ZorFloatParam*)>(), "");
static_assert(Is<decltype(ZorIntfSetSerialized), ZorResult(Handle, const ZorBlob*)>(), "");
static_assert(Is<decltype(ZorIntfStart), ZorResult(Handle)>(), "");
static_assert(Is<decltype(ZorIntfStop), ZorResult(Handle)>(), "");

}  // namespace
