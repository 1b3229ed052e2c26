#include "tools/zorctl/event_queue.h"

namespace zor::ctl {
namespace {

/// The callback takes no argument, and may still be running when another has been registered: what
/// it works on stays for the rest of the process.
struct Shared {
  std::mutex mutex;
  std::deque<SeenEvent> events;
  OwnedHandle arrived{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

Shared& TheShared() {
  static auto* const shared = new Shared;  // NOLINT(cppcoreguidelines-owning-memory)
  return *shared;
}

LocalTime Now() {
  SYSTEMTIME utc{};
  SYSTEMTIME local{};
  GetSystemTime(&utc);
  SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
  FILETIME utc_file{};
  FILETIME local_file{};
  SystemTimeToFileTime(&utc, &utc_file);
  SystemTimeToFileTime(&local, &local_file);
  const auto ticks = [](const FILETIME& time) {
    return static_cast<std::int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
  };
  constexpr std::int64_t kTicksPerMinute = 600'000'000;
  const auto offset = (ticks(local_file) - ticks(utc_file)) / kTicksPerMinute;
  return {.year = local.wYear,
          .month = local.wMonth,
          .day = local.wDay,
          .hour = local.wHour,
          .minute = local.wMinute,
          .second = local.wSecond,
          .millisecond = local.wMilliseconds,
          .offset_minutes = static_cast<int>(offset)};
}

void OnEvent(ZorEvent* event) {
  const SeenEvent seen = Copy(*event, Now());
  {
    const std::lock_guard lock(TheShared().mutex);
    TheShared().events.push_back(seen);
  }
  SetEvent(TheShared().arrived.get());
}

}  // namespace

EventQueue::EventQueue() {
  if (TheShared().arrived == nullptr) ThrowLastError("making an event");
  ZorIntfRegEventCallback(OnEvent);
}

EventQueue::~EventQueue() { ZorIntfRegEventCallback(nullptr); }

std::optional<SeenEvent> EventQueue::Take() {
  const std::lock_guard lock(TheShared().mutex);
  auto& events = TheShared().events;
  if (events.empty()) return std::nullopt;
  SeenEvent first = std::move(events.front());
  events.pop_front();
  return first;
}

HANDLE EventQueue::arrived() const noexcept { return TheShared().arrived.get(); }

}  // namespace zor::ctl
