/// Instead of the product's own platform/shared.h: each access is a point at which another thread
/// can come first, and none is made after the variable's end.
#pragma once

namespace zor {
namespace schedules {

void BeginShared(const void* variable);
void EndShared(const void* variable);
void AccessShared(const void* variable, const char* step);

}  // namespace schedules

/// What the product uses of std::atomic.
template <typename T>
class Shared {
 public:
  constexpr Shared(T value) : value_(value) {  // NOLINT(google-explicit-constructor)
    schedules::BeginShared(this);
  }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  ~Shared() { schedules::EndShared(this); }

  operator T() const {  // NOLINT(google-explicit-constructor)
    schedules::AccessShared(this, "loads");
    return value_;
  }

  // As std::atomic's, which returns the value.
  // NOLINTNEXTLINE(misc-unconventional-assign-operator,cppcoreguidelines-c-copy-assignment-signature)
  T operator=(T value) {
    schedules::AccessShared(this, "stores");
    return value_ = value;
  }

  T exchange(T value) {
    schedules::AccessShared(this, "exchanges");
    const T old = value_;
    value_ = value;
    return old;
  }

  bool compare_exchange_strong(T& expected, T desired) {
    schedules::AccessShared(this, "compares and exchanges");
    if (value_ != expected) {
      expected = value_;
      return false;
    }
    value_ = desired;
    return true;
  }

 private:
  T value_;
};

}  // namespace zor
