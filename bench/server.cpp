// The server that the benchmarks measure against. It answers without a look at what it is asked,
// so that what is measured is the way there and back.
//
//   bench_server.exe PARENT exchange   answers requests, over the pipe and what it is compared with
//   bench_server.exe PARENT blocks     the same for requests of many MiB
//   bench_server.exe PARENT names      the same with a list of twelve algorithms
//   bench_server.exe PARENT flood      sends notifications without a pause
//   bench_server.exe PARENT signal     sends a notification at each signal
#include <windows.h>

#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "bench/context/rpc.h"
#include "bench/context/tcp.h"
#include "bench/support/messages.h"
#include "bench/support/rotation.h"
#include "bench/support/server_process.h"
#include "bench/support/signal.h"
#include "tests/integration/support/server_end.h"

namespace {

using zor::testing::Bytes;
using zor::testing::UniqueHandle;

constexpr DWORD kBufferSize = 65'536;
constexpr DWORD kSmallRequests = 4096;
/// For blocks, which are read in pieces. Not for the others: how much a read asks for costs time.
constexpr DWORD kLargeRequests = DWORD{256} << 10U;

UniqueHandle MakePipe(const wchar_t* name) {
  return zor::testing::Require(
      CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                       PIPE_UNLIMITED_INSTANCES, kBufferSize, kBufferSize, 0, nullptr),
      "CreateNamedPipe");
}

bool WaitForClient(HANDLE pipe) {
  return ConnectNamedPipe(pipe, nullptr) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED;
}

bool Write(HANDLE pipe, const Bytes& message) {
  DWORD written = 0;
  return WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), &written, nullptr) !=
         FALSE;
}

/// All of one, keeping its last piece.
bool ReadMessage(HANDLE pipe, Bytes& buffer) {
  DWORD count = 0;
  while (ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) ==
         FALSE) {
    if (GetLastError() != ERROR_MORE_DATA) return false;
  }
  return true;
}

void Answer(const UniqueHandle& pipe, const Bytes& reply, DWORD limit) {
  Bytes buffer(limit);
  while (WaitForClient(pipe.get())) {
    while (ReadMessage(pipe.get(), buffer) && Write(pipe.get(), reply)) {
    }
    DisconnectNamedPipe(pipe.get());
  }
}

void StayIdle(const UniqueHandle& pipe) {
  std::uint8_t byte = 0;
  DWORD count = 0;
  while (WaitForClient(pipe.get())) {
    ReadFile(pipe.get(), &byte, sizeof(byte), &count, nullptr);
    DisconnectNamedPipe(pipe.get());
  }
}

void Flood(const UniqueHandle& pipe) {
  const Bytes message = zor::bench::Notification();
  while (WaitForClient(pipe.get())) {
    while (Write(pipe.get(), message)) {
    }
    DisconnectNamedPipe(pipe.get());
  }
}

void SendAtEachSignal(const UniqueHandle& pipe) {
  const Bytes message = zor::bench::Notification();
  const zor::bench::Signal signal;
  while (WaitForClient(pipe.get())) {
    while (signal.Wait() && Write(pipe.get(), message)) {
    }
    DisconnectNamedPipe(pipe.get());
  }
}

void AnswerOverTcp() {
  const zor::bench::Winsock winsock;
  const zor::bench::Socket listener;
  const sockaddr_in address = zor::bench::Loopback();
  if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(listener.get(), 1) != 0) {
    throw std::runtime_error("the TCP port is taken");
  }
  const Bytes reply = zor::bench::InfoReply();
  for (;;) {
    zor::bench::Socket client(accept(listener.get(), nullptr, nullptr));
    client.DoNotDelay();
    while (client.Receive()) client.Send(reply);
  }
}

/// A thread for each instance; they end with the process.
template <typename Serve>
void ServeInstances(const wchar_t* name, int instances, Serve serve) {
  for (int i = 0; i < instances; ++i) {
    std::thread([serve, pipe = MakePipe(name)] { serve(pipe); }).detach();
  }
}

void Run(DWORD parent, const std::string& role) {
  const UniqueHandle running =
      zor::testing::Require(OpenProcess(SYNCHRONIZE, FALSE, parent), "OpenProcess");
  constexpr int kInstances = 6;
  if (role == "exchange") {
    const auto answer = [](const UniqueHandle& pipe) {
      Answer(pipe, zor::bench::InfoReply(), kSmallRequests);
    };
    ServeInstances(zor::testing::kRequestPipe, kInstances, answer);
    ServeInstances(zor::testing::kNotifyPipe, 1, StayIdle);
    std::thread(AnswerOverTcp).detach();
    zor::bench::StartRpcServer();
  } else if (role == "blocks") {
    const auto answer = [](const UniqueHandle& pipe) {
      Answer(pipe, zor::bench::InfoReply(), kLargeRequests);
    };
    ServeInstances(zor::testing::kRequestPipe, 2, answer);
    ServeInstances(zor::testing::kNotifyPipe, 1, StayIdle);
  } else if (role == "names") {
    const auto answer = [](const UniqueHandle& pipe) {
      Answer(pipe, zor::bench::NamesReply(), kSmallRequests);
    };
    ServeInstances(zor::testing::kRequestPipe, 2, answer);
    ServeInstances(zor::testing::kNotifyPipe, 1, StayIdle);
  } else if (role == "flood") {
    ServeInstances(zor::testing::kNotifyPipe, 1, Flood);
  } else if (role == "signal") {
    ServeInstances(zor::testing::kNotifyPipe, 1, SendAtEachSignal);
  } else {
    throw std::runtime_error("no such role: " + role);
  }
  const UniqueHandle ready = zor::testing::Require(
      CreateEventW(nullptr, TRUE, FALSE, zor::bench::kServerIsReady), "CreateEvent");
  SetEvent(ready.get());
  WaitForSingleObject(running.get(), INFINITE);
  // Without a word to the threads, which may be waiting anywhere.
  TerminateProcess(GetCurrentProcess(), 0);
}

}  // namespace

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    if (argc != 3) throw std::runtime_error("usage: bench_server PARENT ROLE");
    Run(std::stoul(argv[1]), argv[2]);
  });
}
