// Writes the pinned requests into the folder that is named: for a change of them that is meant.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tests/golden/golden_requests.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: write_golden_requests FOLDER\n", stderr);
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  for (const auto& request : zor::golden::GoldenRequests()) {
    std::ofstream file(folder / (std::string(request.name) + ".hex"), std::ios::binary);
    file << zor::golden::ToHex(zor::golden::Capture(request));
    if (!file.flush()) {
      std::fprintf(stderr, "cannot write %s\n", request.name);
      return 1;
    }
  }
  return 0;
}
