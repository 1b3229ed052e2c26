#include "discovery/name_list.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <span>

#include "platform/heap.h"

namespace zor {
namespace {

template <typename T>
T* Allocate(std::size_t count) {
  void* block = platform::HeapAllocate(count * sizeof(T));
  if (block == nullptr) throw std::bad_alloc();
  return static_cast<T*>(block);
}

}  // namespace

void ReleaseNameList(ZorNameList& list) noexcept {
  if (list.items != nullptr) {
    for (char* name : std::span(list.items, list.count)) platform::HeapFree(name);
    platform::HeapFree(list.items);
  }
  list = {};
}

void AllocateNameList(ZorNameList& list, std::uint32_t count) {
  char** items = Allocate<char*>(count);
  std::fill_n(items, count, nullptr);
  list = {count, items};
}

void StoreName(ZorNameList& list, std::uint32_t slot, std::string_view name) {
  char* copy = Allocate<char>(name.size() + 1);
  *std::copy(name.begin(), name.end(), copy) = '\0';
  platform::HeapFree(list.items[slot]);
  list.items[slot] = copy;
}

}  // namespace zor
