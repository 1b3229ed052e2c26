/// Fixtures: a fresh scripted platform, and the library on it.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "interface/library.h"
#include "tests/kit/exports.h"
#include "tests/kit/messages.h"
#include "tests/support/calls.h"
#include "tests/support/heap.h"
#include "tests/support/output.h"
#include "tests/support/pipes.h"
#include "tests/support/threads.h"

namespace zor::scripted {

using testing::BuildMessage;
using testing::Notification;
using testing::Reply;

/// The exports of the library that is linked to the test.
[[nodiscard]] const testing::Exports& LinkedExports();

/// Makes the scripted platform as new.
void ResetPlatform();

/// The library, loaded while it exists; the exports work on it.
class LoadedLibrary {
 public:
  LoadedLibrary();
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  ~LoadedLibrary();

 private:
  std::unique_ptr<Library> library_;
};

/// Every test begins with a platform as new. It fails when it leaves a handle open that no
/// reconnect abandoned, or a block of the runtime's heap.
class PlatformTest : public ::testing::Test {
 protected:
  PlatformTest();
  void TearDown() override;

  /// How many handles the test expects to be abandoned; none otherwise.
  void ExpectAbandoned(int count) { abandoned_ = count; }

 private:
  int abandoned_ = 0;
};

/// With a library whose listener never begins: the calls alone.
class CallTest : public PlatformTest {
 protected:
  CallTest();
  void TearDown() override;

  /// Lets the server answer every request with `reply`.
  static void AnswerWith(Bytes reply);

  void Unload() { library_.reset(); }

 private:
  std::unique_ptr<LoadedLibrary> library_;
};

/// With a library that the test loads, and a listener that it steps through.
class ListenerTest : public PlatformTest {
 protected:
  void TearDown() override;

  void Load() { library_ = std::make_unique<LoadedLibrary>(); }
  void Unload() { library_.reset(); }

 private:
  std::unique_ptr<LoadedLibrary> library_;
};

}  // namespace zor::scripted
