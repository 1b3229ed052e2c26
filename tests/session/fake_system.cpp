#include "tests/session/fake_system.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "tests/kit/patience.h"

namespace zor::testing {

FakeMachine* FakeMachine::self_ = nullptr;

bool PatientLock::TryLock() {
  std::unique_lock lock(mutex_);
  if (!freed_.wait_for(lock, kPatience, [this] { return !taken_; })) return false;
  taken_ = true;
  return true;
}

void PatientLock::Unlock() {
  {
    const std::lock_guard lock(mutex_);
    taken_ = false;
  }
  freed_.notify_one();
}

FakeMachine::FakeMachine() {
  self_ = this;
  answer = [](const FakeRequest&) { return FakeReply{}; };
  StartServer();
}

FakeMachine::~FakeMachine() { self_ = nullptr; }

// --- the server

void FakeMachine::StartServer(std::uint32_t process) {
  const std::lock_guard lock(mutex_);
  process_ = process;
  ++begun_;
}

void FakeMachine::StopServer() {
  {
    const std::lock_guard lock(mutex_);
    process_ = 0;
    connection_ = 0;
    watch_broken_ = watched_;
    watched_ = false;
  }
  changed_.notify_all();
}

void FakeMachine::Next(Fate fate) {
  const std::lock_guard lock(mutex_);
  fates_.push_back(fate);
}

void FakeMachine::AnswerFromNowOn() {
  const std::lock_guard lock(mutex_);
  fates_.clear();
}

void FakeMachine::Release() {
  {
    const std::lock_guard lock(mutex_);
    for (Message& message : owed_) {
      if (message.connection == connection_) arrived_.push_back(std::move(message));
    }
    owed_.clear();
  }
  changed_.notify_all();
}

std::vector<FakeRequest> FakeMachine::WaitForRequests(std::size_t count) {
  std::unique_lock lock(mutex_);
  if (!WaitWhileGrowing(
          changed_, lock, [&] { return requests_.size(); }, count)) {
    throw std::runtime_error("there were " + std::to_string(requests_.size()) + " requests");
  }
  return requests_;
}

std::vector<FakeRequest> FakeMachine::Requests() {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<std::string> FakeMachine::TakeRequests() {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> texts;
  for (; taken_ < requests_.size(); ++taken_) {
    const FakeRequest& request = requests_[taken_];
    texts.push_back(request.call + " " + std::to_string(request.handle));
  }
  return texts;
}

bool FakeMachine::SeesServer() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(watch_broken_, false)) return false;
  return process_ != 0;
}

std::optional<ServerIdentity> FakeMachine::WatchServer() {
  const std::lock_guard lock(mutex_);
  if (!watchable || process_ == 0) return std::nullopt;
  ++watches;
  watched_ = true;
  return ServerIdentity{process_, 0};
}

// --- the library

bool FakeMachine::Notify(ZorEvent event) {
  if (!delivery_.TryLock()) return false;
  ZorEventCallback callback = nullptr;
  {
    const std::lock_guard lock(mutex_);
    callback = callback_;
  }
  if (callback != nullptr) callback(&event);
  delivery_.Unlock();
  return callback != nullptr;
}

bool FakeMachine::TryLoaderLock() {
  const bool free = loader_.TryLock();
  if (free) loader_.Unlock();
  return free;
}

void FakeMachine::RefuseToLoad(std::string why) {
  const std::lock_guard lock(mutex_);
  load_error_ = std::move(why);
}

std::string FakeMachine::Load(SessionCalls& calls) {
  const std::lock_guard lock(mutex_);
  if (!load_error_.empty()) return load_error_;
  ++loads;
  calls = Calls();
  return {};
}

bool FakeMachine::Unload() {
  // Waits for a callback that runs.
  if (loader_.TryLock()) {
    if (delivery_.TryLock()) {
      delivery_.Unlock();
    } else {
      deadlocked = true;
    }
    loader_.Unlock();
  }
  const std::lock_guard lock(mutex_);
  if (keeps_loaded) return true;
  if (held) return false;
  connection_ = 0;
  arrived_.clear();
  callback_ = nullptr;
  return true;
}

void FakeMachine::Cancel() {
  {
    const std::lock_guard lock(mutex_);
    ++cancels;
    if (cancels_to_miss > 0) {
      --cancels_to_miss;
      return;
    }
    cancelled_ = waiting_;
  }
  changed_.notify_all();
}

std::pair<ZorResult, FakeReply> FakeMachine::Exchange(FakeRequest request) {
  std::unique_lock lock(mutex_);
  callers.push_back(std::this_thread::get_id());
  if (process_ == 0) return {ZOR_NOT_CONNECTED, {}};
  if (connection_ == 0) {
    connection_ = ++connections_;
    arrived_.clear();
  }
  Fate fate = Fate::kAnswered;
  if (!fates_.empty()) {
    fate = fates_.front();
    fates_.pop_front();
  }
  const int connection = connection_;
  Message reply{connection, answer(request)};
  requests_.push_back(std::move(request));
  changed_.notify_all();
  switch (fate) {
    case Fate::kAnswered:
      arrived_.push_back(std::move(reply));
      break;
    case Fate::kHeld:
      owed_.push_back(std::move(reply));
      break;
    case Fate::kHalved:
      arrived_.push_back({connection, std::nullopt});
      owed_.push_back({connection, std::nullopt});
      break;
    case Fate::kUnanswered:
      break;
    case Fate::kLastOfItsServer:
      ++process_;
      connection_ = 0;
      watch_broken_ = std::exchange(watched_, false);
      return {reply.reply->result, *reply.reply};
  }
  waiting_ = true;
  changed_.wait(lock, [&] { return cancelled_ || connection_ != connection || !arrived_.empty(); });
  waiting_ = false;
  if (std::exchange(cancelled_, false) || connection_ != connection) {
    return {ZOR_TRANSPORT_FAILURE, {}};
  }
  const Message message = std::move(arrived_.front());
  arrived_.pop_front();
  if (!message.reply) return {ZOR_TRANSPORT_FAILURE, {}};
  return {message.reply->result, *message.reply};
}

ZorResult FakeMachine::Enumerate(std::uint32_t selector, ZorNameList* list) {
  const auto [result, reply] = Exchange({.call = "ZorIntfEnum", .handle = selector});
  if (result != ZOR_SUCCESS) return result;
  names_ = reply.names;
  items_.clear();
  for (std::string& name : names_) items_.push_back(name.empty() ? nullptr : name.data());
  list->count = static_cast<std::uint32_t>(items_.size());
  list->items = items_.data();
  return ZOR_SUCCESS;
}

namespace {

std::string TextOf(const char* text) { return text == nullptr ? "(null)" : text; }

std::vector<std::uint8_t> BytesOf(const ZorBlob& blob) {
  if (blob.size == 0) return {};
  return {blob.data, blob.data + blob.size};
}

}  // namespace

SessionCalls FakeMachine::Calls() {
  SessionCalls calls{};
  calls.Config = [](std::uint32_t handle, const ZorTextParam* param) {
    return self_
        ->Exchange({.call = "ZorIntfConfig",
                    .handle = handle,
                    .name = TextOf(param->name),
                    .value = TextOf(param->value)})
        .first;
  };
  calls.Create = [](std::uint32_t* handle, const ZorTextParam* param) {
    const auto [result, reply] = self_->Exchange(
        {.call = "ZorIntfCreate", .name = TextOf(param->name), .value = TextOf(param->value)});
    if (result == ZOR_SUCCESS) *handle = reply.number;
    return result;
  };
  calls.Destroy = [](std::uint32_t handle) {
    return self_->Exchange({.call = "ZorIntfDestroy", .handle = handle}).first;
  };
  calls.FreeSerialized = [](std::uint32_t /*handle*/, ZorBlob* blob) -> ZorResult {
    std::free(blob->data);
    return ZOR_SUCCESS;
  };
  calls.Get = [](std::uint32_t handle, ZorFloatParam* param) {
    const auto [result, reply] = self_->Exchange(
        {.call = "ZorIntfGet", .handle = handle, .name = param->name, .number = param->value});
    if (result == ZOR_SUCCESS) param->value = reply.value;
    return result;
  };
  calls.GetInfo = [](ZorServerInfo* info) {
    const auto [result, reply] = self_->Exchange({.call = "ZorIntfGetInfo"});
    if (result == ZOR_SUCCESS) *info = {reply.number, 0, 0, 0};
    return result;
  };
  calls.GetSerialized = [](std::uint32_t handle, const ZorBlob* input, ZorBlob* output) {
    const auto [result, reply] = self_->Exchange({.call = "ZorIntfGetSerialized",
                                                  .handle = handle,
                                                  .name = TextOf(input->name),
                                                  .bytes = BytesOf(*input)});
    if (result != ZOR_SUCCESS || reply.bytes.empty()) return result;
    output->size = static_cast<std::uint32_t>(reply.bytes.size());
    output->data = static_cast<std::uint8_t*>(std::malloc(reply.bytes.size()));
    std::memcpy(output->data, reply.bytes.data(), reply.bytes.size());
    if (input->name != nullptr) output->name = strdup(input->name);
    return result;
  };
  calls.GetStatus = [](std::uint32_t handle, std::uint32_t* status) {
    const auto [result, reply] = self_->Exchange({.call = "ZorIntfGetStatus", .handle = handle});
    if (result == ZOR_SUCCESS) *status = reply.number;
    return result;
  };
  calls.RegEventCallback = [](ZorEventCallback callback) -> ZorResult {
    const std::lock_guard lock(self_->mutex_);
    self_->callback_ = callback;
    return ZOR_SUCCESS;
  };
  calls.Set = [](std::uint32_t handle, ZorFloatParam* param) {
    const auto [result, reply] = self_->Exchange(
        {.call = "ZorIntfSet", .handle = handle, .name = param->name, .number = param->value});
    if (result == ZOR_SUCCESS) param->value = reply.value;
    return result;
  };
  calls.SetSerialized = [](std::uint32_t handle, const ZorBlob* blob) {
    return self_
        ->Exchange({.call = "ZorIntfSetSerialized",
                    .handle = handle,
                    .name = TextOf(blob->name),
                    .bytes = BytesOf(*blob)})
        .first;
  };
  calls.Start = [](std::uint32_t handle) {
    return self_->Exchange({.call = "ZorIntfStart", .handle = handle}).first;
  };
  calls.Stop = [](std::uint32_t handle) {
    return self_->Exchange({.call = "ZorIntfStop", .handle = handle}).first;
  };
  return calls;
}

}  // namespace zor::testing
