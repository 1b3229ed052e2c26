/// Saying what a call brought: tables for people, JSON for programs.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "tools/zorctl/command.h"
#include "tools/zorctl/outcome.h"

namespace zor::ctl {

/// Objects keep the order in which they were filled.
using Json = nlohmann::ordered_json;

/// What goes to standard output: whole lines, none for a call without an answer.
[[nodiscard]] std::string ToText(const Outcome& outcome);

/// The call, its result, what it means, and the payload's members.
[[nodiscard]] Json ToJson(const Call& call, const Outcome& outcome);

/// The sentence about a call that failed, without a line end.
[[nodiscard]] std::string FailureText(const Call& call, const Outcome& outcome);

/// One document on one line, with its line end. Bytes that are not UTF-8 become the replacement
/// character: names are the server's and can be anything.
[[nodiscard]] std::string ToLine(const Json& json);

/// As ToLine, over several lines.
[[nodiscard]] std::string ToDocument(const Json& json);

/// By way of the shortest text that reads back as the same float: 0.1, not 0.10000000149. JSON has
/// no infinities and no NaN: those are given as texts.
[[nodiscard]] Json ToNumber(float value);

/// Sixteen bytes a line: offset, bytes, characters.
[[nodiscard]] std::string HexDump(std::span<const std::uint8_t> bytes);

}  // namespace zor::ctl
