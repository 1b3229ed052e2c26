#include "tools/zorctl/event_queue.h"

#include <utility>

namespace zor::ctl {
namespace {

windows::OwnedHandle MakeEvent() {
  windows::OwnedHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (event == nullptr) windows::ThrowLastError("making an event");
  return event;
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

}  // namespace

EventQueue::EventQueue()
    : arrived_(MakeEvent()), callback_([this](const Event& event) { Add(event); }) {}

void EventQueue::Add(const Event& event) {
  {
    const std::lock_guard lock(mutex_);
    events_.push_back(Copy(event, Now()));
  }
  SetEvent(arrived_.get());
}

std::optional<SeenEvent> EventQueue::Take() {
  const std::lock_guard lock(mutex_);
  if (events_.empty()) return std::nullopt;
  SeenEvent first = std::move(events_.front());
  events_.pop_front();
  return first;
}

}  // namespace zor::ctl
