/// Filling and releasing the application's name list.
#pragma once

#include <cstdint>
#include <string_view>

#include "interface/zor_interface.h"

namespace zor {

/// Frees what the list holds and leaves it empty.
void ReleaseNameList(ZorNameList& list) noexcept;

/// Frees what the list holds and gives it `count` slots, all null. Throws std::bad_alloc, leaving
/// it empty.
void AllocateNameList(ZorNameList& list, std::uint32_t count);

/// Stores a copy of `name` in a slot, freeing what was there. Throws std::bad_alloc, leaving the
/// slot as it was.
void StoreName(ZorNameList& list, std::uint32_t slot, std::string_view name);

}  // namespace zor
