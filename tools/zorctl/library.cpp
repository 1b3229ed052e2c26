#include "tools/zorctl/library.h"

#include <fmt/format.h>
#include <windows.h>

#include <objbase.h>

#include <array>

#include "discovery/text.h"
#include "interface/zor_loader.h"

namespace zor::ctl {
namespace {

ZorLibrary loaded{};

}  // namespace

Library::Library() {
  ZorLoadError error{};
  // Never unloaded: it goes with the process.
  const ZorLoadStatus status = zor_load(&loaded, nullptr, &error);
  path_ = ToUtf8(error.path);
  if (status != ZOR_LOAD_OK) {
    std::array<char, ZOR_LOAD_TEXT_SIZE> text{};
    throw LibraryError(fmt::format("{}: {}", path_, zor_load_text(&error, text.data())),
                       status == ZOR_LOAD_FILE_MISSING);
  }
  const ZorFileVersion& file = error.version;
  version_ = fmt::format("{}.{}.{}", file.major_number, file.minor_number, file.patch_number);
  // For the list of algorithms: the library leaves it to the application.
  const HRESULT initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  if (FAILED(initialised)) {
    throw std::runtime_error(
        fmt::format("COM cannot be initialised (0x{:08X})", static_cast<unsigned>(initialised)));
  }
}

Library::~Library() { CoUninitialize(); }

}  // namespace zor::ctl

// The functions as zor.hpp calls them: those of the library that was loaded. An import library
// would load it with every command, and one that delays the load needs a linker that fits.

using zor::ctl::loaded;

ZorResult ZorIntfConfig(std::uint32_t handle, const ZorTextParam* param) {
  return loaded.ZorIntfConfig(handle, param);
}
ZorResult ZorIntfCreate(std::uint32_t* handle, const ZorTextParam* param) {
  return loaded.ZorIntfCreate(handle, param);
}
ZorResult ZorIntfDestroy(std::uint32_t handle) { return loaded.ZorIntfDestroy(handle); }
ZorResult ZorIntfEnum(std::uint32_t selector, ZorNameList* list) {
  return loaded.ZorIntfEnum(selector, list);
}
ZorResult ZorIntfFreeSerialized(std::uint32_t handle, ZorBlob* blob) {
  return loaded.ZorIntfFreeSerialized(handle, blob);
}
ZorResult ZorIntfGet(std::uint32_t handle, ZorFloatParam* param) {
  return loaded.ZorIntfGet(handle, param);
}
ZorResult ZorIntfGetInfo(ZorServerInfo* info) { return loaded.ZorIntfGetInfo(info); }
ZorResult ZorIntfGetSerialized(std::uint32_t handle, const ZorBlob* input, ZorBlob* output) {
  return loaded.ZorIntfGetSerialized(handle, input, output);
}
ZorResult ZorIntfGetStatus(std::uint32_t handle, std::uint32_t* status) {
  return loaded.ZorIntfGetStatus(handle, status);
}
ZorResult ZorIntfRegEventCallback(ZorEventCallback callback) {
  return loaded.ZorIntfRegEventCallback(callback);
}
ZorResult ZorIntfSet(std::uint32_t handle, ZorFloatParam* param) {
  return loaded.ZorIntfSet(handle, param);
}
ZorResult ZorIntfSetSerialized(std::uint32_t handle, const ZorBlob* blob) {
  return loaded.ZorIntfSetSerialized(handle, blob);
}
ZorResult ZorIntfStart(std::uint32_t handle) { return loaded.ZorIntfStart(handle); }
ZorResult ZorIntfStop(std::uint32_t handle) { return loaded.ZorIntfStop(handle); }
