/// A variable that more than one thread uses.
#pragma once

#include <atomic>

namespace zor {

/// Each access to it is one indivisible step. All of them have this one name, so that a test can
/// build the product with a kind of its own, in whose steps another thread can come first.
template <typename T>
using Shared = std::atomic<T>;

}  // namespace zor
