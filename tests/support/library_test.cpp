#include "tests/support/library_test.h"

#include <utility>

namespace zor {
namespace {

Library* loaded = nullptr;

}  // namespace

Library& TheLibrary() noexcept { return *loaded; }

namespace scripted {

const testing::Exports& LinkedExports() {
  static constexpr testing::Exports kExports{ZorIntfConfig,
                                             ZorIntfCreate,
                                             ZorIntfDestroy,
                                             ZorIntfEnum,
                                             ZorIntfFreeSerialized,
                                             ZorIntfGet,
                                             ZorIntfGetInfo,
                                             ZorIntfGetSerialized,
                                             ZorIntfGetStatus,
                                             ZorIntfRegEventCallback,
                                             ZorIntfSet,
                                             ZorIntfSetSerialized,
                                             ZorIntfStart,
                                             ZorIntfStop};
  return kExports;
}

LoadedLibrary::LoadedLibrary() : library_(std::make_unique<Library>()) { loaded = library_.get(); }

LoadedLibrary::~LoadedLibrary() {
  library_.reset();
  loaded = nullptr;
}

void ResetPlatform() {
  TheCalls().Reset();
  TheOutput().Reset();
  TheHeap().Reset();
  ThePipes().Reset();
  TheThreads().Reset();
}

PlatformTest::PlatformTest() { ResetPlatform(); }

void PlatformTest::TearDown() {
  EXPECT_EQ(ThePipes().OpenCount(), 0);
  EXPECT_EQ(ThePipes().AbandonedCount(), abandoned_);
  EXPECT_EQ(TheHeap().BlockCount(), 0U);
}

CallTest::CallTest() {
  TheThreads().SetBegin(Threads::Begin::kNever);
  library_ = std::make_unique<LoadedLibrary>();
  static_cast<void>(TheCalls().Take());
}

void CallTest::TearDown() {
  Unload();
  PlatformTest::TearDown();
}

void CallTest::AnswerWith(Bytes reply) {
  ThePipes().Listen(kRequestPipe, [reply = std::move(reply)](const Bytes& /*request*/) {
    return std::vector<Bytes>{reply};
  });
}

void ListenerTest::TearDown() {
  Unload();
  PlatformTest::TearDown();
}

}  // namespace scripted
}  // namespace zor
