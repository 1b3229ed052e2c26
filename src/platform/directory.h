/// Listing a directory, not its subdirectories.
#pragma once

#include <cstdint>

namespace zor::platform {

/// An open listing, which stands at an entry or at the end. Made by OpenListing, released by
/// CloseListing. Entries come in the file system's order, files and folders alike, without "." and
/// "..".
struct Listing;

struct OpenListingResult {
  Listing* listing = nullptr;
  std::uint32_t error = 0;  ///< meaningful when `listing` is null
};

/// Opens a listing, which then stands at the first entry. Throws std::bad_alloc.
[[nodiscard]] OpenListingResult OpenListing(const wchar_t* directory);

/// The entry's name, until the listing moves on; null at the end.
[[nodiscard]] const wchar_t* EntryName(const Listing* listing) noexcept;

/// Moves to the next entry or to the end. 0, or the error for which it could not.
[[nodiscard]] std::uint32_t NextEntry(Listing* listing) noexcept;

void CloseListing(Listing* listing) noexcept;

}  // namespace zor::platform
