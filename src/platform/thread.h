/// The one background thread.
#pragma once

#include <cstdint>

namespace zor::platform {

/// A started thread; made by StartThread, released by JoinThread.
struct Thread;

/// Starts a thread that runs `routine(argument)` once. Null when the system has no thread to give.
/// Safe from a static initialiser; nothing waits for the thread to begin.
[[nodiscard]] Thread* StartThread(void (*routine)(void*), void* argument) noexcept;

/// True on the thread itself, while its routine runs.
[[nodiscard]] bool IsCurrentThread(const Thread* thread) noexcept;

/// Waits until the routine has returned, and releases the thread; false when it cannot be waited
/// for. Afterwards nothing of the library runs on the thread any more, so that the library may be
/// unmapped. A routine that has not begun is called off and never runs. Safe while the loader's
/// lock is held.
[[nodiscard]] bool JoinThread(Thread* thread) noexcept;

/// Suspends the calling thread.
void Sleep(std::uint32_t milliseconds) noexcept;

}  // namespace zor::platform
