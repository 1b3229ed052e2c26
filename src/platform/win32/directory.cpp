#include "platform/directory.h"

#include <windows.h>

#include <memory>
#include <string>
#include <string_view>

namespace zor::platform {

struct Listing {
  HANDLE find = INVALID_HANDLE_VALUE;
  WIN32_FIND_DATAW entry = {};
  bool at_end = false;

  Listing() = default;
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  ~Listing() {
    if (find != INVALID_HANDLE_VALUE) FindClose(find);
  }
};

namespace {

bool IsDots(std::wstring_view name) noexcept { return name == L"." || name == L".."; }

std::uint32_t SkipDots(Listing& listing) noexcept {
  while (!listing.at_end && IsDots(listing.entry.cFileName)) {
    if (FindNextFileW(listing.find, &listing.entry) != FALSE) continue;
    const DWORD error = GetLastError();
    if (error != ERROR_NO_MORE_FILES) return error;
    listing.at_end = true;
  }
  return ERROR_SUCCESS;
}

}  // namespace

OpenListingResult OpenListing(const wchar_t* directory) {
  const std::wstring pattern = std::wstring(directory) + L"\\*";
  auto listing = std::make_unique<Listing>();
  listing->find = FindFirstFileW(pattern.c_str(), &listing->entry);
  if (listing->find == INVALID_HANDLE_VALUE) return {nullptr, GetLastError()};
  if (const std::uint32_t error = SkipDots(*listing)) return {nullptr, error};
  return {listing.release(), ERROR_SUCCESS};
}

const wchar_t* EntryName(const Listing* listing) noexcept {
  return listing->at_end ? nullptr : listing->entry.cFileName;
}

std::uint32_t NextEntry(Listing* listing) noexcept {
  if (FindNextFileW(listing->find, &listing->entry) != FALSE) return SkipDots(*listing);
  const DWORD error = GetLastError();
  if (error != ERROR_NO_MORE_FILES) return error;
  listing->at_end = true;
  return ERROR_SUCCESS;
}

void CloseListing(Listing* listing) noexcept { const std::unique_ptr<Listing> closed(listing); }

}  // namespace zor::platform
