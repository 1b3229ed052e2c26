// That the function pointers of the header are those of its functions, and that its version is the
// project's. Checked by compiling.
#include <string_view>
#include <type_traits>

#include "zor_interface.h"

namespace {

static_assert(std::is_same_v<decltype(&ZorIntfConfig), ZorIntfConfigFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfCreate), ZorIntfCreateFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfDestroy), ZorIntfDestroyFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfEnum), ZorIntfEnumFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfFreeSerialized), ZorIntfFreeSerializedFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfGet), ZorIntfGetFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfGetInfo), ZorIntfGetInfoFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfGetSerialized), ZorIntfGetSerializedFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfGetStatus), ZorIntfGetStatusFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfRegEventCallback), ZorIntfRegEventCallbackFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfSet), ZorIntfSetFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfSetSerialized), ZorIntfSetSerializedFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfStart), ZorIntfStartFunction>);
static_assert(std::is_same_v<decltype(&ZorIntfStop), ZorIntfStopFunction>);

static_assert(ZOR_VERSION_MAJOR == PROJECT_MAJOR);
static_assert(ZOR_VERSION_MINOR == PROJECT_MINOR);
static_assert(ZOR_VERSION_PATCH == PROJECT_PATCH);
static_assert(std::string_view(ZOR_VERSION_STRING) == PROJECT_TEXT);

}  // namespace
