// The rest of the platform but for its threads: the heap, a log that says nothing; and a machine
// without a driver, which no call of this benchmark asks for.
#include <cstdlib>

#include "platform/debug_output.h"
#include "platform/directory.h"
#include "platform/driver_query.h"
#include "platform/environment.h"
#include "platform/heap.h"
#include "platform/modules.h"
#include "platform/text.h"

namespace zor::platform {

void* HeapAllocate(std::size_t size) noexcept { return std::malloc(size); }
void* HeapAllocateZeroed(std::size_t count, std::size_t size) noexcept {
  return std::calloc(count, size);
}
void HeapFree(void* block) noexcept { std::free(block); }

int FormattedLength(const char* /*format*/, std::va_list /*arguments*/) noexcept { return 0; }
int FormattedLength(const wchar_t* /*format*/, std::va_list /*arguments*/) noexcept { return 0; }
void Format(char* buffer, std::size_t /*size*/, const char* /*format*/,
            std::va_list /*arguments*/) noexcept {
  *buffer = '\0';
}
void Format(wchar_t* buffer, std::size_t /*size*/, const wchar_t* /*format*/,
            std::va_list /*arguments*/) noexcept {
  *buffer = L'\0';
}
void DebugOutput(const char* /*text*/) noexcept {}
void DebugOutput(const wchar_t* /*text*/) noexcept {}

OpenListingResult OpenListing(const wchar_t* /*directory*/) { return {.error = 3}; }
const wchar_t* EntryName(const Listing* /*listing*/) noexcept { return nullptr; }
std::uint32_t NextEntry(Listing* /*listing*/) noexcept { return 0; }
void CloseListing(Listing* /*listing*/) noexcept {}

struct DriverQuery::Objects {};
DriverQuery::DriverQuery() = default;
DriverQuery::~DriverQuery() = default;
ComResult DriverQuery::InitializeSecurity() noexcept { return -1; }
ComResult DriverQuery::CreateLocator() noexcept { return -1; }
ComResult DriverQuery::ConnectServer(const wchar_t* /*name_space*/) noexcept { return -1; }
ComResult DriverQuery::SetProxyBlanket() noexcept { return -1; }
ComResult DriverQuery::ExecQuery(const wchar_t* /*language*/, const wchar_t* /*query*/) noexcept {
  return -1;
}
bool DriverQuery::NextRow() noexcept { return false; }
ComResult DriverQuery::ReadProperty(const wchar_t* /*name*/) noexcept { return -1; }
const wchar_t* DriverQuery::text() const noexcept { return nullptr; }
void DriverQuery::ClearValue() noexcept {}

std::uint32_t GetEnvironment(const wchar_t* /*name*/, std::span<wchar_t> /*buffer*/) noexcept {
  return 0;
}

bool SetLibraryDirectory(const wchar_t* /*directory*/) noexcept { return false; }
std::uint32_t ThreadErrorMode() noexcept { return 0; }
void SetThreadErrorMode(std::uint32_t /*mode*/) noexcept {}
LoadModuleResult LoadModule(const wchar_t* /*path*/) noexcept { return {.error = 2}; }
EntryPoint FindEntryPoint(Module* /*module*/, const char* /*name*/) noexcept { return nullptr; }
void ReleaseModule(Module* /*module*/) noexcept {}

int Utf8ToWide(const char* /*text*/, wchar_t* /*buffer*/, int /*size*/) noexcept { return 0; }
int WideToUtf8(const wchar_t* /*text*/, char* /*buffer*/, int /*size*/) noexcept { return 0; }

}  // namespace zor::platform
