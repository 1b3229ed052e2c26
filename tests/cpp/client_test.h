/// What the tests of the C++ header share.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "interface/zor.hpp"
#include "messages/reply.h"
#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::scripted {

/// A client of a library whose server answers everything with `answer`.
class ClientTest : public CallTest {
 protected:
  ClientTest() { Listen(); }

  void Listen() {
    ThePipes().Listen(kRequestPipe, [this](const Bytes& request) {
      requests_.push_back(request);
      return std::vector<Bytes>{Build(answer_)};
    });
  }

  void TearDown() override {
    // The header keeps one list for the whole process; a successful call frees it.
    Listen();
    answer_ = Reply();
    static_cast<void>(client_.Enumerate(0));
    CallTest::TearDown();
  }

  [[nodiscard]] Instance MakeInstance(std::uint32_t handle = 5) {
    const Reply before = answer_;
    answer_ = Reply{.handle = handle};
    Instance instance = client_.Create("general");
    answer_ = before;
    requests_.clear();
    return instance;
  }

  /// What was requested since the last time: "ZorIntfStart 5".
  [[nodiscard]] std::vector<std::string> TakeRequests() {
    std::vector<std::string> texts;
    for (const Bytes& bytes : requests_) {
      const auto* request = messages::GetCallMessage(bytes.data());
      texts.push_back(request->func_name()->str() + " " + std::to_string(request->handle()));
    }
    requests_.clear();
    return texts;
  }

  /// The last request's root table.
  [[nodiscard]] const messages::CallMessage* LastRequest() const {
    return messages::GetCallMessage(requests_.back().data());
  }

  Reply answer_;
  Client client_;

 private:
  std::vector<Bytes> requests_;
};

}  // namespace zor::scripted
