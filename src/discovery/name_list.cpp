#include "discovery/name_list.h"

#include <algorithm>
#include <new>
#include <span>

#include "platform/heap.h"

namespace zor {
namespace {

template <typename T>
T* OrNoMemory(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return static_cast<T*>(block);
}

}  // namespace

void ReleaseNameList(ZorNameList& list) noexcept {
  if (list.items != nullptr) {
    for (char* name : std::span(list.items, list.count)) {
      // There may be millions of null slots.
      if (name != nullptr) platform::HeapFree(name);
    }
    platform::HeapFree(list.items);
  }
  list = {};
}

void AllocateNameList(ZorNameList& list, std::uint32_t count) {
  ReleaseNameList(list);
  // Not written to here: the count is the server's word, and most of its slots may stay null.
  list = {count, OrNoMemory<char*>(platform::HeapAllocateZeroed(count, sizeof(char*)))};
}

void StoreName(ZorNameList& list, std::uint32_t slot, std::string_view name) {
  char* copy = OrNoMemory<char>(platform::HeapAllocate(name.size() + 1));
  *std::copy(name.begin(), name.end(), copy) = '\0';
  platform::HeapFree(list.items[slot]);
  list.items[slot] = copy;
}

}  // namespace zor
