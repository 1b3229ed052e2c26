// Runs a fuzz target without libFuzzer: each file of its corpus as it is, and with a few changes
// that are always the same ones. For the builds of other compilers.
// usage: PROGRAM FOLDER | FILE
#include <sanitizer/common_interface_defs.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace zor::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kChangesPerFile = 30;
constexpr const char* kFailedPath = "failed-input";

Bytes& Current() {
  static Bytes current;
  return current;
}

/// Keeps the input that has failed; the process is about to end, so it may do what it likes.
void SaveCurrent() {
  std::ofstream(kFailedPath, std::ios::binary)
      .write(reinterpret_cast<const char*>(Current().data()),
             static_cast<std::streamsize>(Current().size()));
  std::fprintf(stderr, "replay: the input is in %s\n", kFailedPath);
}

void Run(const Bytes& input) {
  Current() = input;
  // A block of its own, of exactly its size, as libFuzzer gives.
  const std::vector<std::uint8_t> exact(input);
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

/// One change: bytes that are removed, doubled or lost at the end, or others in their place.
void Change(Bytes& bytes, std::minstd_rand& random) {
  static constexpr std::uint8_t kOddBytes[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
  if (bytes.empty()) bytes.push_back(0);
  const auto at = static_cast<std::ptrdiff_t>(random() % bytes.size());
  const auto end = at + std::min<std::ptrdiff_t>(1 + static_cast<std::ptrdiff_t>(random() % 8),
                                                 std::ssize(bytes) - at);
  const auto there = bytes.begin() + at;
  switch (random() % 5) {
    case 0:
      bytes.erase(there, bytes.end());
      break;
    case 1:
      bytes.erase(there, bytes.begin() + end);
      break;
    case 2: {
      const Bytes doubled(there, bytes.begin() + end);
      bytes.insert(there, doubled.begin(), doubled.end());
      break;
    }
    case 3:
      *there = kOddBytes[random() % std::size(kOddBytes)];
      break;
    default:
      *there = static_cast<std::uint8_t>(*there ^ (1U << (random() % 8)));
  }
}

Bytes ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::filesystem::path> Files(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(path)) files.push_back(entry);
  std::sort(files.begin(), files.end());  // the same order everywhere
  return files;
}

/// Each file, and so many changes of it. The number of inputs that were run.
std::size_t Replay(const std::vector<std::filesystem::path>& files, int changes) {
  std::minstd_rand random;  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same changes every time
  std::size_t count = 0;
  for (const auto& file : files) {
    const Bytes original = ReadFile(file);
    Run(original);
    ++count;
    for (int change = 0; change < changes; ++change, ++count) {
      Bytes changed = original;
      for (auto times = 1 + random() % 3; times != 0; --times) Change(changed, random);
      Run(changed);
    }
  }
  return count;
}

}  // namespace
}  // namespace zor::fuzz

int main(int count, char** arguments) {
  using namespace zor::fuzz;
  if (count != 2) {
    std::fputs("usage: PROGRAM FOLDER | FILE\n", stderr);
    return 2;
  }
  __sanitizer_set_death_callback(SaveCurrent);
  std::signal(SIGABRT, [](int) { SaveCurrent(); });
  const std::filesystem::path path = arguments[1];
  const auto files = Files(path);
  if (files.empty()) {
    std::fprintf(stderr, "replay: nothing in %s\n", arguments[1]);
    return 1;
  }
  // A single file is one that has failed, to see it fail again.
  const int changes = std::filesystem::is_directory(path) ? kChangesPerFile : 0;
  std::printf("tally: %zu inputs of the fuzz targets, replayed and changed\n",
              Replay(files, changes));
  return 0;
}
