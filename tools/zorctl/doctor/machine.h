/// Looking at this machine with the library's own search for algorithms, part by part: each may be
/// done in a process of its own.
#pragma once

#include <string>

#include "discovery/enumeration.h"
#include "tools/zorctl/doctor/facts.h"

namespace zor::ctl {

/// Asks for the installed driver. COM must be initialised on the calling thread.
[[nodiscard]] DriverFacts ExamineDriver();

/// What the search finds in the driver store.
struct StoreSearch {
  StoreFacts store;
  std::vector<CandidateFacts> candidates;
  PackageFacts package;  ///< meaningful when the driver's version was given
};

/// Searches for the package of this version, or, without one, reads all of them.
[[nodiscard]] StoreSearch ExamineStore(const DiscoveryRules& rules,
                                       const std::optional<VersionQuad>& version);

/// Lists the package's libraries and loads none.
[[nodiscard]] PackageContents ListPackage(const DiscoveryRules& rules, const std::string& package);

/// Loads, asks and unloads one library of the package.
[[nodiscard]] AlgorithmLibraryFacts ExamineLibrary(const DiscoveryRules& rules,
                                                   const std::string& package,
                                                   const std::string& file);

/// All of it in this process.
[[nodiscard]] MachineFacts ExamineMachine(const DiscoveryRules& rules);

}  // namespace zor::ctl
