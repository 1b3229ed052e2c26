#include "discovery/directory.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <system_error>

#include "platform/directory.h"

namespace zor {
namespace {

struct ListingCloser {
  void operator()(platform::Listing* listing) const noexcept { platform::CloseListing(listing); }
};

[[noreturn]] void Throw(const char* operation, const std::wstring& directory, std::uint32_t error) {
  throw std::filesystem::filesystem_error(
      operation, directory, std::error_code(static_cast<int>(error), std::system_category()));
}

}  // namespace

std::vector<std::wstring> ListDirectory(const std::wstring& directory) {
  const auto opened = platform::OpenListing(directory.c_str());
  const std::unique_ptr<platform::Listing, ListingCloser> listing(opened.listing);
  if (listing == nullptr) Throw("directory_iterator::directory_iterator", directory, opened.error);

  std::vector<std::wstring> entries;
  while (const wchar_t* name = platform::EntryName(listing.get())) {
    entries.push_back(directory + L'\\' + name);
    const std::uint32_t error = platform::NextEntry(listing.get());
    if (error != 0) Throw("directory_iterator::operator++", directory, error);
  }
  return entries;
}

std::wstring FileName(const std::wstring& path) {
  // npos + 1 is 0: a path without a separator is a file name.
  return path.substr(path.find_last_of(L"\\/") + 1);
}

}  // namespace zor
