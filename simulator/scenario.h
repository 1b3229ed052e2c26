/// What a simulated server offers and how it misbehaves: the plain data behind a scenario file.
///
/// docs/simulator.md describes the file; ReadScenario() reads it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "simulator/notification.h"

namespace zor::sim {

using Bytes = std::vector<std::uint8_t>;

/// The selector of the list of algorithms; its positions are the algorithm ids.
inline constexpr std::uint8_t kAlgorithmSelector = 2;

/// The parameter that holds an instance's algorithm id. The spelling is the protocol's.
inline constexpr const char* kAlgorithmParameter = "supproted_algo_name";

struct Range {
  float min = 0;
  float max = 0;
};

struct Parameter {
  std::string name = {};
  float initial = 0;                ///< of every new instance
  std::optional<Range> range = {};  ///< without one, any value is taken, NaN included
  bool read_only = false;
};

struct Blob {
  std::string name = {};
  Bytes data = {};
};

/// An instance that is there from the start, as if a client had made it.
struct ExistingInstance {
  std::uint32_t handle = 0;
  std::uint8_t status =
      1;  ///< any: one that is no state of this server's lasts until a call fits it
  std::map<std::string, float> parameters = {};  ///< those that differ from the defaults
};

struct Limits {
  std::uint32_t instances = 64;
  std::uint32_t blobs_per_instance = 64;
  std::uint32_t blob_bytes = 1024 * 1024;
  std::uint32_t request_bytes = 4 * 1024 * 1024;
  std::uint32_t reply_bytes = 1024;          ///< what a client can read
  std::uint32_t queued_notifications = 256;  ///< per client
};

/// Which calls a fault or an event applies to: the `nth` matching call and the ones after it,
/// `times` of them.
struct CallMatch {
  std::string function = {};  ///< empty: any request, valid or not
  std::uint32_t nth = 1;
  std::uint32_t times = 1;  ///< 0: without end
};

/// Closes the connection; nothing is replied but for kAfterReply.
enum class Drop : std::uint8_t {
  kUnread,      ///< when a request begins to arrive, which is left unread
  kBeforeCall,  ///< the request was read, the call is not made
  kAfterCall,   ///< the call is made
  kAfterReply,  ///< the call is made and answered
};
/// Drops every client, of both pipes, and closes the pipes for a time. The call is not made.
struct ClosePipes {
  std::uint32_t milliseconds = 0;
};
/// The call is not made; its answer is this result alone.
struct ReplyResult {
  std::uint32_t result = 0;
};
/// The reply, brought to this size by zero bytes behind the message, which stays valid. A reply
/// that is longer already is sent as it is.
struct ReplySize {
  std::uint32_t bytes = 0;
};
/// The first bytes of the reply.
struct ReplyTruncated {
  std::uint32_t bytes = 0;
};
/// Pseudo-random bytes instead of the reply; the same ones for the same seed.
struct ReplyGarbage {
  std::uint32_t bytes = 0;
  std::uint32_t seed = 0;
};
/// These bytes instead of the reply.
struct ReplyRaw {
  Bytes bytes = {};
};
/// The reply as two messages: its first bytes, and after a while the rest. A reply that is not
/// longer is sent whole.
struct ReplySplit {
  std::uint32_t bytes = 0;
  std::uint32_t rest_after_ms = 0;
};
/// Success without the call's outputs.
struct ReplyWithoutOutputs {};
/// No reply: the connection stays open, the client waits until something breaks it.
struct NoReply {};

/// What is wrong with the answer; nothing, for a fault that only delays.
using FaultAction =
    std::variant<std::monostate, Drop, ClosePipes, ReplyResult, ReplySize, ReplyTruncated,
                 ReplyGarbage, ReplyRaw, ReplySplit, ReplyWithoutOutputs, NoReply>;

struct Fault {
  CallMatch match = {};
  std::uint32_t delay_ms = 0;  ///< before the reply, or before the connection is dropped
  FaultAction action = {};
};

/// A notification as the scenario wants it sent.
struct ScriptedNotification {
  Notification notification = {};
  std::string func_name = "ZorIntfNotify";
  std::uint32_t message_bytes = 0;  ///< zero bytes are added behind the message up to this size
};
struct DropClients {};

/// A message of any bytes, a built notification, or something done to the pipes.
using EventAction = std::variant<ScriptedNotification, Bytes, DropClients, ClosePipes>;

/// Once, so long after the pipes have opened.
struct AtTime {
  std::uint32_t milliseconds = 0;
};
struct EveryInterval {
  std::uint32_t milliseconds = 1000;
  std::uint32_t count = 0;  ///< 0: without end
};
/// For each client that connects to the notification pipe, to it alone.
struct OnConnect {};

using EventTrigger = std::variant<AtTime, EveryInterval, OnConnect, CallMatch>;

struct ScriptedEvent {
  EventTrigger trigger = {};
  EventAction action = {};
};

struct Scenario {
  std::array<std::uint32_t, 4> information = {};
  std::map<std::uint8_t, std::vector<std::string>> lists = {};
  std::vector<Parameter> parameters = {};
  std::vector<Blob> blobs = {};
  std::vector<ExistingInstance> instances = {};
  std::vector<std::string> installed = {};  ///< for people: what the machine had, of which this is
  Limits limits = {};
  std::uint32_t first_handle = 0;  ///< 0: the program chooses another one in each run
  bool echo_set = true;            ///< whether the reply to a set carries the parameter
  std::vector<Fault> faults = {};
  std::vector<ScriptedEvent> events = {};

  /// The names of selector 2; empty when there is no such list.
  [[nodiscard]] const std::vector<std::string>& algorithms() const;
};

}  // namespace zor::sim
