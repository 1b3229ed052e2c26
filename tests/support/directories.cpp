#include "tests/support/directories.h"

#include <memory>

#include "platform/directory.h"
#include "tests/support/calls.h"

namespace zor::scripted {

Directories& TheDirectories() {
  static Directories directories;
  return directories;
}

}  // namespace zor::scripted

namespace zor::platform {

using scripted::Function;
using scripted::PlatformScope;
using scripted::TheCalls;
using scripted::TheDirectories;

struct Listing {
  const scripted::Directory* directory = nullptr;
  std::size_t position = 0;
};

OpenListingResult OpenListing(const wchar_t* directory) {
  const PlatformScope scope;
  auto& system = TheDirectories();
  system.listed.emplace_back(directory);
  if (const auto fault = TheCalls().Enter(Function::kOpenListing)) return {nullptr, *fault};
  const auto found = system.directories.find(directory);
  if (found == system.directories.end()) return {nullptr, scripted::kErrorPathNotFound};
  if (found->second.open_error != 0) return {nullptr, found->second.open_error};
  ++system.open_count;
  return {std::make_unique<Listing>(Listing{&found->second}).release(), 0};
}

const wchar_t* EntryName(const Listing* listing) noexcept {
  const auto& entries = listing->directory->entries;
  return listing->position == entries.size() ? nullptr : entries[listing->position].c_str();
}

std::uint32_t NextEntry(Listing* listing) noexcept {
  const PlatformScope scope;
  if (const auto fault = TheCalls().Enter(Function::kNextEntry)) return *fault;
  ++listing->position;
  return listing->position == listing->directory->fails_after ? listing->directory->advance_error
                                                              : 0;
}

void CloseListing(Listing* listing) noexcept {
  const PlatformScope scope;
  const std::unique_ptr<Listing> closed(listing);
  --TheDirectories().open_count;
}

}  // namespace zor::platform
