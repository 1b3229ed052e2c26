// What the library's static initialisation builds, piece by piece.
#include <memory>

#include "bench/support/rotation.h"
#include "discovery/algorithm_catalogue.h"
#include "discovery/enumeration.h"

namespace {

using zor::bench::Candidate;

/// Makes and destroys it.
template <typename Make>
Candidate Building(const char* name, Make make) {
  return {name, [make] { [[maybe_unused]] const auto made = make(); }};
}

}  // namespace

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    zor::bench::Turns turns{.rounds = 5, .blocks = 5, .repeats = 100, .warm_ups = 100};
    turns.rounds = zor::bench::Option(argc, argv, "--rounds", turns.rounds);
    zor::bench::RunInRotation(
        {
            Building("the catalogue's patterns", zor::BuildAlgorithmCatalogue),
            Building("the library filter", zor::BuildLibraryFilter),
            Building("the driver store's strings and version pattern",
                     [] { return zor::DriverStore(); }),
            Building("all of it", [] { return std::make_unique<zor::DiscoveryRules>(); }),
        },
        turns);
  });
}
