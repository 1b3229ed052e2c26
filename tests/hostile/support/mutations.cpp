#include "tests/hostile/support/mutations.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/faults/tally.h"

namespace zor::hostile {
namespace {

std::size_t UpTo(Random& random, std::size_t most) {
  return std::uniform_int_distribution<std::size_t>(0, most)(random);
}

std::uint8_t AnyByte(Random& random) { return static_cast<std::uint8_t>(UpTo(random, 0xFF)); }

}  // namespace

std::uint32_t Seed() {
  std::uint32_t seed = 1;
  if (const char* given = std::getenv("ZOR_SEED")) {
    seed = static_cast<std::uint32_t>(std::stoul(given));
  } else if (faults::WholeCampaign()) {
    seed = std::random_device{}();
  }
  std::printf("seed: %u\n", static_cast<unsigned>(seed));
  std::fflush(stdout);
  return seed;
}

Bytes Garbage(Random& random, std::size_t limit) {
  Bytes garbage(UpTo(random, limit));
  for (std::uint8_t& byte : garbage) byte = AnyByte(random);
  return garbage;
}

Bytes Damaged(Random& random, Bytes message) {
  for (std::size_t changes = 1 + UpTo(random, 7); changes > 0 && !message.empty(); --changes) {
    message[UpTo(random, message.size() - 1)] = AnyByte(random);
  }
  if (UpTo(random, 3) == 0) message.resize(UpTo(random, 2 * message.size()));
  return message;
}

}  // namespace zor::hostile
