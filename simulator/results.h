/// The simulated server's result codes.
#pragma once

#include <cstdint>

namespace zor::sim {

/// The `result` of a reply. 1 to 3 are never used: the client library has meanings of its own for
/// them, and an application could not tell the two apart.
enum class Result : std::uint32_t {
  kSuccess = 0,
  kUnknownFunction = 16,
  kMalformedRequest = 17,  ///< not a valid message, or one that contradicts itself
  kNoSuchInstance = 18,
  kWrongState = 19,        ///< the instance's state does not allow the call
  kUnknownAlgorithm = 20,  ///< not in the list of selector 2
  kNoSuchParameter = 21,
  kNoSuchBlob = 22,
  kTooManyInstances = 23,
  kNoSuchList = 24,       ///< the scenario has no list for the selector
  kValueOutOfRange = 25,  ///< outside the parameter's range; NaN is outside every range
  kReplyTooLarge = 26,    ///< the answer would not fit in a reply
  kMissingArgument = 27,  ///< the request lacks what the call needs
  kTooLarge = 28,         ///< the request or its block exceeds a limit
  kTooManyBlobs = 29,
  kReadOnly = 30,  ///< the parameter cannot be set
};

}  // namespace zor::sim
