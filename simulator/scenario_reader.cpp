#include "simulator/scenario_reader.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <set>
#include <utility>

#include "simulator/default_scenario.h"
#include "simulator/json_reader.h"
#include "simulator/json_tree.h"
#include "simulator/request_handler.h"

namespace zor::sim {
namespace {

constexpr std::uint32_t kMiB = 1024 * 1024;
constexpr std::uint32_t kAnyNumber = 0xFFFFFFFF;
constexpr std::uint32_t kMaxMilliseconds = 24 * 60 * 60 * 1000;
constexpr std::uint32_t kMaxMessageBytes = kMiB;
constexpr std::uint32_t kMaxBlobBytes = 64 * kMiB;
// Algorithm ids have 16 bits with a sign.
constexpr std::size_t kMaxNames = 32767;

constexpr std::string_view kAnyCall = "any";

void ReadInformation(const JsonNode& node, Scenario& scenario) {
  const auto words = node.Elements();
  if (node.value().kind == JsonKind::kArray && words.size() != scenario.information.size()) {
    node.Complain("expected four words, found " + std::to_string(words.size()));
    return;
  }
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i].Read(scenario.information[i], 0, kAnyNumber);
  }
}

std::optional<std::uint8_t> ReadSelector(const std::string& key) {
  for (unsigned selector = 0; selector <= 0xFF; ++selector) {
    if (key == std::to_string(selector)) return static_cast<std::uint8_t>(selector);
  }
  return std::nullopt;
}

void ReadLists(const JsonNode& node, Scenario& scenario) {
  scenario.lists.clear();
  JsonObject object(node);
  for (const auto& [key, member] : object.All()) {
    const auto selector = ReadSelector(key);
    if (!selector) {
      member.Complain(R"(not a selector; expected "0" to "255")");
      continue;
    }
    const auto names = member.Elements();
    if (names.size() > kMaxNames) {
      member.Complain("at most " + std::to_string(kMaxNames) + " names");
      continue;
    }
    auto& list = scenario.lists[*selector];
    for (const JsonNode& name : names) name.Read(list.emplace_back());
  }
}

void ReadRange(JsonObject& object, Parameter& parameter) {
  Range range;
  const bool has_min = object.Read("min", range.min);
  const bool has_max = object.Read("max", range.max);
  if (!has_min && !has_max) return;
  if (has_min != has_max) {
    object.node().Complain(R"("min" and "max" go together)");
  } else if (range.min > range.max) {
    object.node().Complain(R"("min" is above "max")");
  } else if (parameter.initial < range.min || parameter.initial > range.max) {
    object.node().Complain(R"("default" is outside "min" to "max")");
  }
  parameter.range = range;
}

void ReadParameters(const JsonNode& node, Scenario& scenario) {
  scenario.parameters.clear();
  std::set<std::string> names;
  for (const JsonNode& element : node.Elements()) {
    JsonObject object(element);
    Parameter& parameter = scenario.parameters.emplace_back();
    object.Require("name");
    object.Read("name", parameter.name);
    object.Read("default", parameter.initial);
    ReadRange(object, parameter);
    object.Read("read_only", parameter.read_only);
    object.Finish();
    if (parameter.name == kAlgorithmParameter) {
      element.Complain(Quoted(parameter.name) + " is every instance's own; it cannot be listed");
    } else if (!names.insert(parameter.name).second) {
      element.Complain("another parameter is named " + Quoted(parameter.name));
    }
  }
}

void ReadBlobData(JsonObject& object, Blob& blob) {
  const std::string_view source = object.OneOf({"hex", "text", "bytes"});
  std::uint32_t fill = 0;
  object.Read("fill", fill, 0U, 0xFFU);
  if (source == "hex") {
    for (const JsonNode& hex : object.Find("hex")) hex.ReadHex(blob.data);
  } else if (source == "text") {
    std::string text;
    object.Read("text", text);
    blob.data.assign(text.begin(), text.end());
  } else if (source == "bytes") {
    std::uint32_t count = 0;
    object.Read("bytes", count, 0U, kMaxBlobBytes);
    blob.data.assign(count, static_cast<std::uint8_t>(fill));
  } else if (object.ok()) {
    object.node().Complain("one of " + Quoted({"hex", "text", "bytes"}) + " is missing");
  }
  for (const JsonNode& found : object.Find("fill")) {
    if (source != "bytes") found.Complain(R"(goes with "bytes" only)");
  }
}

void ReadBlobs(const JsonNode& node, Scenario& scenario) {
  scenario.blobs.clear();
  std::set<std::string> names;
  for (const JsonNode& element : node.Elements()) {
    JsonObject object(element);
    Blob& blob = scenario.blobs.emplace_back();
    object.Require("name");
    object.Read("name", blob.name);
    ReadBlobData(object, blob);
    object.Finish();
    if (!names.insert(blob.name).second) {
      element.Complain("another block is named " + Quoted(blob.name));
    }
  }
}

void ReadInstanceParameters(const JsonNode& node, const Scenario& scenario,
                            ExistingInstance& instance) {
  JsonObject object(node);
  for (const auto& [name, value] : object.All()) {
    if (std::ranges::find(scenario.parameters, name, &Parameter::name) ==
        scenario.parameters.end()) {
      value.Complain("no parameter is named " + Quoted(name));
      continue;
    }
    value.Read(instance.parameters[name]);
  }
}

void ReadInstances(const JsonNode& node, Scenario& scenario) {
  scenario.instances.clear();
  std::set<std::uint32_t> handles;
  for (const JsonNode& element : node.Elements()) {
    JsonObject object(element);
    ExistingInstance& instance = scenario.instances.emplace_back();
    object.Require("handle");
    object.Read("handle", instance.handle, 1U, kAnyNumber);
    std::uint32_t status = instance.status;
    object.Read("status", status, 0U, 0xFFU);
    instance.status = static_cast<std::uint8_t>(status);
    for (const JsonNode& parameters : object.Find("parameters")) {
      ReadInstanceParameters(parameters, scenario, instance);
    }
    object.Finish();
    if (!handles.insert(instance.handle).second) {
      element.Complain("another instance has the handle " + std::to_string(instance.handle));
    }
  }
}

void ReadInstalled(const JsonNode& node, Scenario& scenario) {
  scenario.installed.clear();
  for (const JsonNode& name : node.Elements()) name.Read(scenario.installed.emplace_back());
}

void ReadLimits(const JsonNode& node, Scenario& scenario) {
  JsonObject object(node);
  Limits& limits = scenario.limits;
  object.Read("instances", limits.instances, 0U, 65535U);
  object.Read("blobs_per_instance", limits.blobs_per_instance, 0U, 65535U);
  object.Read("blob_bytes", limits.blob_bytes, 0U, kMaxBlobBytes);
  object.Read("request_bytes", limits.request_bytes, 64U, 64 * kMiB);
  object.Read("reply_bytes", limits.reply_bytes, 64U, kMiB);
  object.Read("queued_notifications", limits.queued_notifications, 1U, 65536U);
  object.Finish();
}

void ReadCallName(const JsonNode& node, CallMatch& match) {
  std::string name;
  if (!node.Read(name)) return;
  if (name == kAnyCall) return;
  std::vector<std::string_view> known(FunctionNames().begin(), FunctionNames().end());
  if (std::ranges::find(known, name) == known.end()) {
    known.push_back(kAnyCall);
    node.Complain("unknown function " + Quoted(name) + "; expected one of " + Quoted(known));
    return;
  }
  match.function = name;
}

void ReadCounts(JsonObject& object, CallMatch& match) {
  object.Read("nth", match.nth, 1U, kAnyNumber);
  object.Read("times", match.times, 0U, kAnyNumber);
}

std::optional<Drop> ReadDrop(const JsonNode& node) {
  static constexpr std::pair<std::string_view, Drop> kDrops[] = {
      {"unread", Drop::kUnread},
      {"before_call", Drop::kBeforeCall},
      {"after_call", Drop::kAfterCall},
      {"after_reply", Drop::kAfterReply},
  };
  std::string word;
  if (!node.Read(word)) return std::nullopt;
  std::vector<std::string_view> words;
  for (const auto& [known, drop] : kDrops) {
    if (known == word) return drop;
    words.push_back(known);
  }
  node.Complain("unknown way to drop " + Quoted(word) + "; expected one of " + Quoted(words));
  return std::nullopt;
}

void ReadGarbage(JsonObject& object, const JsonNode& node, FaultAction& action) {
  ReplyGarbage garbage;
  node.Read(garbage.bytes, 0, kMaxMessageBytes);
  object.Read("seed", garbage.seed, 0U, kAnyNumber);
  action = garbage;
}

void ReadSplit(JsonObject& object, const JsonNode& node, FaultAction& action) {
  ReplySplit split;
  node.Read(split.bytes, 1, kMaxMessageBytes);
  object.Read("rest_after_ms", split.rest_after_ms, 0U, kMaxMilliseconds);
  action = split;
}

void ReadFaultAction(JsonObject& object, Fault& fault) {
  static const std::vector<std::string_view> kActions = {
      "drop",          "close_pipes_ms", "result",      "reply_bytes",     "truncate_to",
      "garbage_bytes", "raw_reply",      "empty_reply", "without_outputs", "no_reply",
      "split_at"};
  const std::string_view key = object.OneOf(kActions);
  for (const JsonNode& node : object.Find(key)) {
    std::uint32_t number = 0;
    if (key == "drop") {
      if (const auto drop = ReadDrop(node)) fault.action = *drop;
    } else if (key == "close_pipes_ms") {
      node.Read(number, 0, kMaxMilliseconds);
      fault.action = ClosePipes{number};
    } else if (key == "result") {
      node.Read(number, 0, kAnyNumber);
      fault.action = ReplyResult{number};
    } else if (key == "reply_bytes") {
      node.Read(number, 1, kMaxMessageBytes);
      fault.action = ReplySize{number};
    } else if (key == "truncate_to") {
      node.Read(number, 0, kMaxMessageBytes);
      fault.action = ReplyTruncated{number};
    } else if (key == "garbage_bytes") {
      ReadGarbage(object, node, fault.action);
    } else if (key == "split_at") {
      ReadSplit(object, node, fault.action);
    } else if (key == "raw_reply") {
      ReplyRaw raw;
      node.ReadHex(raw.bytes);
      fault.action = raw;
    } else {
      node.ReadTrue();
      if (key == "empty_reply") fault.action = ReplyRaw{};
      if (key == "without_outputs") fault.action = ReplyWithoutOutputs{};
      if (key == "no_reply") fault.action = NoReply{};
    }
  }
  for (const JsonNode& seed : object.Find("seed")) {
    if (key != "garbage_bytes") seed.Complain(R"(goes with "garbage_bytes" only)");
  }
  for (const JsonNode& rest : object.Find("rest_after_ms")) {
    if (key != "split_at") rest.Complain(R"(goes with "split_at" only)");
  }
  const bool delays = object.Read("delay_ms", fault.delay_ms, 0U, kMaxMilliseconds);
  if (object.ok() && key.empty() && !delays && object.Find("delay_ms").empty()) {
    object.node().Complain("does nothing; expected one of " + Quoted(kActions) +
                           R"( or "delay_ms")");
  }
}

void ReadFaults(const JsonNode& node, Scenario& scenario) {
  scenario.faults.clear();
  for (const JsonNode& element : node.Elements()) {
    JsonObject object(element);
    Fault& fault = scenario.faults.emplace_back();
    for (const JsonNode& call : object.Find("call")) ReadCallName(call, fault.match);
    ReadCounts(object, fault.match);
    ReadFaultAction(object, fault);
    object.Finish();
    const Drop* drop = std::get_if<Drop>(&fault.action);
    if (drop != nullptr && *drop == Drop::kUnread && !fault.match.function.empty()) {
      element.Complain(
          R"(a request that is not read has no function: "drop": "unread" goes with "call": "any")");
    }
  }
}

// What each type carries: 0 and 2 a flag, 1 and 3 a value, 4 a flag and a text, 5 a value and a
// text, all others nothing.
void ReadNotification(JsonObject& object, ScriptedNotification& scripted) {
  std::uint32_t type = 0;
  object.Read("type", type, 0U, 0xFFU);
  scripted.notification.type = static_cast<std::uint8_t>(type);
  object.Read("flag", scripted.notification.flag);
  object.Read("value", scripted.notification.value, 0U, kAnyNumber);
  object.Read("text", scripted.notification.text);
  object.Read("func_name", scripted.func_name);
  object.Read("message_bytes", scripted.message_bytes, 1U, kMaxMessageBytes);

  const std::pair<std::string_view, bool> fields[] = {
      {"flag", type == 0 || type == 2 || type == 4},
      {"value", type == 1 || type == 3 || type == 5},
      {"text", type == 4 || type == 5},
  };
  for (const auto& [key, carried] : fields) {
    for (const JsonNode& found : object.Find(key)) {
      if (!carried) found.Complain("type " + std::to_string(type) + " does not carry it");
    }
  }
}

void ReadEventAction(JsonObject& object, ScriptedEvent& event) {
  static const std::vector<std::string_view> kActions = {"type", "raw", "drop_clients",
                                                         "close_pipes_ms"};
  const std::string_view key = object.OneOf(kActions);
  if (key == "type") {
    ScriptedNotification scripted;
    ReadNotification(object, scripted);
    event.action = scripted;
  }
  for (const JsonNode& node : object.Find(key)) {
    if (key == "raw") {
      Bytes raw;
      node.ReadHex(raw);
      event.action = raw;
    } else if (key == "drop_clients") {
      node.ReadTrue();
      event.action = DropClients{};
    } else if (key == "close_pipes_ms") {
      std::uint32_t time = 0;
      node.Read(time, 0, kMaxMilliseconds);
      event.action = ClosePipes{time};
    }
  }
  if (object.ok() && key.empty()) {
    object.node().Complain("does nothing; expected one of " + Quoted(kActions));
  }
}

void ReadEventTrigger(JsonObject& object, ScriptedEvent& event) {
  static const std::vector<std::string_view> kTriggers = {"at_ms", "every_ms", "on_call",
                                                          "on_connect"};
  const std::string_view key = object.OneOf(kTriggers);
  for (const JsonNode& node : object.Find(key)) {
    if (key == "at_ms") {
      AtTime at;
      node.Read(at.milliseconds, 0, kMaxMilliseconds);
      event.trigger = at;
    } else if (key == "every_ms") {
      EveryInterval every;
      node.Read(every.milliseconds, 1, kMaxMilliseconds);
      object.Read("count", every.count, 0U, kAnyNumber);
      event.trigger = every;
    } else if (key == "on_call") {
      CallMatch match;
      ReadCallName(node, match);
      ReadCounts(object, match);
      event.trigger = match;
    } else {
      node.ReadTrue();
      event.trigger = OnConnect{};
    }
  }
  if (object.ok() && key.empty()) {
    object.node().Complain("never happens; expected one of " + Quoted(kTriggers));
  }
}

void ReadEvents(const JsonNode& node, Scenario& scenario) {
  scenario.events.clear();
  for (const JsonNode& element : node.Elements()) {
    JsonObject object(element);
    ScriptedEvent& event = scenario.events.emplace_back();
    ReadEventTrigger(object, event);
    ReadEventAction(object, event);
    object.Finish();
    const bool is_message = std::holds_alternative<ScriptedNotification>(event.action) ||
                            std::holds_alternative<Bytes>(event.action);
    if (std::holds_alternative<OnConnect>(event.trigger) && !is_message) {
      element.Complain(R"("on_connect" goes with a message only: "type" or "raw")");
    }
  }
}

/// What can only be told once everything is read.
void CheckTogether(JsonObject& root, const Scenario& scenario) {
  for (const JsonNode& blobs : root.Find("blobs")) {
    if (scenario.blobs.size() > scenario.limits.blobs_per_instance) {
      blobs.Complain(R"(more blocks than "limits.blobs_per_instance" allows)");
    }
    for (const Blob& blob : scenario.blobs) {
      if (blob.data.size() > scenario.limits.blob_bytes) {
        blobs.Complain("the block " + Quoted(blob.name) +
                       R"( is larger than "limits.blob_bytes" allows)");
      }
    }
  }
}

void ReadRoot(const JsonNode& node, Scenario& scenario) {
  JsonObject root(node);
  const std::pair<std::string_view, void (*)(const JsonNode&, Scenario&)> sections[] = {
      {"information", ReadInformation}, {"lists", ReadLists},
      {"parameters", ReadParameters},   {"blobs", ReadBlobs},
      {"instances", ReadInstances},     {"installed", ReadInstalled},
      {"limits", ReadLimits},           {"faults", ReadFaults},
      {"events", ReadEvents},
  };
  for (const auto& [key, read] : sections) {
    for (const JsonNode& section : root.Find(key)) read(section, scenario);
  }
  for (const JsonNode& first : root.Find("first_handle")) {
    first.Read(scenario.first_handle, 0, kAnyNumber);
  }
  root.Read("echo_set", scenario.echo_set);
  CheckTogether(root, scenario);
  root.Finish();
}

std::string At(const std::string& name, int line) {
  return name + ":" + std::to_string(line) + ":";
}

}  // namespace

ScenarioResult ReadScenario(std::string_view text, const std::string& name, Scenario base) {
  ScenarioResult result;
  JsonValue tree;
  if (const auto error = ParseJson(text, tree)) {
    result.errors.push_back(At(name, error->line) + std::to_string(error->column) + ": " +
                            error->message);
    return result;
  }
  JsonComplaints complaints;
  ReadRoot(JsonNode(tree, "", complaints), base);
  std::ranges::stable_sort(complaints, {}, &JsonComplaint::line);
  for (const JsonComplaint& complaint : complaints) {
    std::string& error = result.errors.emplace_back(At(name, complaint.line));
    if (!complaint.path.empty()) error.append(" ").append(complaint.path).append(":");
    error.append(" ").append(complaint.message);
  }
  if (result.errors.empty()) result.scenario = std::move(base);
  return result;
}

ScenarioResult LoadScenario(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string text;
  std::array<char, 4096> part = {};
  while (stream.read(part.data(), part.size()) || stream.gcount() > 0) {
    text.append(part.data(), static_cast<std::size_t>(stream.gcount()));
  }
  if (!stream.is_open() || stream.bad()) return {.errors = {file + ": cannot be read"}};
  return ReadScenario(text, file, DefaultScenario());
}

}  // namespace zor::sim
