#include "tools/selftest/server.h"

#include "zor_messages_generated.h"

namespace zor::selftest {
namespace {

constexpr DWORD kBufferSize = 65'536;

}  // namespace

ServerEnd::ServerEnd(const wchar_t* name, DWORD instances)
    : pipe_(Require(CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                     PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT |
                                         PIPE_REJECT_REMOTE_CLIENTS,
                                     instances, kBufferSize, kBufferSize, 0, nullptr),
                    "making the library's pipe")) {
  operation_.hEvent = done_.get();
}

std::optional<DWORD> ServerEnd::Finish(bool started, DWORD error) {
  if (!started && error == ERROR_PIPE_CONNECTED) return 0;
  if (!started && error != ERROR_IO_PENDING && error != ERROR_MORE_DATA) return std::nullopt;
  const std::array<HANDLE, 2> events{done_.get(), stopped_.get()};
  if (WaitForMultipleObjects(2, events.data(), FALSE, INFINITE) != WAIT_OBJECT_0) {
    CancelIoEx(pipe_.get(), &operation_);
  }
  DWORD count = 0;
  const BOOL ok = GetOverlappedResult(pipe_.get(), &operation_, &count, TRUE);
  return ok == FALSE ? std::nullopt : std::optional(count);
}

bool ServerEnd::WaitForClient() {
  if (IsStopped()) return false;
  const BOOL started = ConnectNamedPipe(pipe_.get(), &operation_);
  return Finish(started != FALSE, GetLastError()).has_value();
}

std::optional<Bytes> ServerEnd::Read() {
  Bytes message(kBufferSize);
  const BOOL started = ReadFile(pipe_.get(), message.data(), static_cast<DWORD>(message.size()),
                                nullptr, &operation_);
  const std::optional<DWORD> count = Finish(started != FALSE, GetLastError());
  if (!count) return std::nullopt;
  message.resize(*count);
  return message;
}

bool ServerEnd::Write(std::span<const std::uint8_t> message) {
  const BOOL started = WriteFile(pipe_.get(), message.data(), static_cast<DWORD>(message.size()),
                                 nullptr, &operation_);
  return Finish(started != FALSE, GetLastError()).has_value();
}

Server::Server(const wchar_t* name, Session session, int instances) : session_(std::move(session)) {
  for (int i = 0; i < instances; ++i) {
    ends_.push_back(std::make_unique<ServerEnd>(name, static_cast<DWORD>(instances)));
  }
  for (const auto& end : ends_) {
    threads_.push_back(std::make_unique<Background>([this, at = end.get()] {
      while (at->WaitForClient()) {
        ++connections_;
        session_(*at);
        at->Disconnect();
      }
    }));
  }
}

Server::~Server() {
  for (const auto& end : ends_) end->Stop();
}

void Server::AwaitConnections(int count) const {
  for (DWORD waited = 0; connections_ < count; waited += 5) {
    if (waited > kPatienceMs) throw std::runtime_error("the library does not connect");
    Sleep(5);
  }
}

void StayIdle(ServerEnd& end) { static_cast<void>(end.Read()); }

void AnswerAll(ServerEnd& end) {
  const Bytes reply = AnyReply();
  while (end.Read() && end.Write(reply)) {
  }
}

void Flood(ServerEnd& end) {
  const Bytes notification = Notification(1);
  while (!end.IsStopped() && end.Write(notification)) {
  }
}

Bytes AnyReply() {
  flatbuffers::FlatBufferBuilder builder;
  const messages::ServerInfo info(1, 2, 3, 4);
  const auto names = builder.CreateVectorOfStrings({"one", "two", "three"});
  const auto list = messages::CreateEnumResult(builder, 3, names);
  const std::vector<std::uint8_t> data(600, 7);
  const auto block = messages::CreateBlobParamDirect(builder, "block", 600, &data);
  messages::CallMessageBuilder message(builder);
  message.add_server_info(&info);
  message.add_enum_result(list);
  message.add_status(5);
  message.add_blob_result(block);
  builder.Finish(message.Finish());
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

Bytes Notification(std::uint32_t value) {
  flatbuffers::FlatBufferBuilder builder;
  const auto name = builder.CreateString("ZorIntfNotify");
  const auto payload = messages::CreateWordPayload(builder, value).Union();
  const auto event = messages::CreateNotifyEvent(
      builder, 1, messages::EventPayload::EventPayload_WordPayload, payload);
  messages::CallMessageBuilder message(builder);
  message.add_func_name(name);
  message.add_event(event);
  builder.Finish(message.Finish());
  return {builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()};
}

}  // namespace zor::selftest
