/// What the library knows of algorithms: their names, and the file names of their libraries.
#pragma once

#include <map>
#include <regex>
#include <string>

namespace zor {

/// From an algorithm's name to the pattern of its libraries' file names, in the order of the names.
/// Patterns are for whole names (std::regex_match), of either case.
using AlgorithmCatalogue = std::map<std::wstring, std::wregex>;

[[nodiscard]] AlgorithmCatalogue BuildAlgorithmCatalogue();

/// The pattern of every algorithm library's file name, those of the catalogue among them.
[[nodiscard]] std::wregex BuildLibraryFilter();

}  // namespace zor
