// What a call costs beside the system calls that it cannot do without.
//
// Prints the sizes of the two messages, and then the durations of each candidate.
#include <cstdio>
#include <memory>
#include <stdexcept>

#include "bench/context/rpc.h"
#include "bench/context/tcp.h"
#include "bench/support/messages.h"
#include "bench/support/raw_pipe.h"
#include "bench/support/rotation.h"
#include "bench/support/server_process.h"
#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/server_end.h"

namespace zor::bench {
namespace {

/// What the library does in the steady state, and nothing else.
Candidate Bare(const std::string& name, const Bytes& request) {
  auto pipe = std::make_shared<RawPipe>(testing::kRequestPipe);
  return {name, [pipe, &request] {
            pipe->Peek();
            pipe->Write(request);
            pipe->Read();
          }};
}

/// The same with the messages made and checked by the generated code alone.
Candidate BareWithMessages() {
  auto pipe = std::make_shared<RawPipe>(testing::kRequestPipe);
  return {"bare with messages", [pipe] {
            pipe->Peek();
            flatbuffers::FlatBufferBuilder builder(256);
            builder.Finish(messages::CreateCallMessageDirect(builder, "ZorIntfGetInfo", nullptr, 0,
                                                             0, 0, 0, 7));
            pipe->Write({builder.GetBufferPointer(), builder.GetSize()});
            const auto bytes = pipe->Read();
            const auto* reply = flatbuffers::GetRoot<messages::CallMessage>(bytes.data());
            flatbuffers::Verifier verifier(bytes.data(), bytes.size(), 64, 1'000'000, true);
            if (!reply->Verify(verifier) || reply->result() != 0 || !reply->server_info()) {
              throw std::runtime_error("not the reply");
            }
          }};
}

void Run(const Turns& turns) {
  const ServerProcess server(L"exchange");
  Bytes request = InfoRequest();
  std::printf("bytes\t0\t%zu\t%zu\n", request.size(), InfoReply().size());

  const testing::LoadedLibrary library;
  RawPipe plain(testing::kRequestPipe);
  RawPipe transacting(testing::kRequestPipe);
  const Winsock winsock;
  Socket socket;
  const sockaddr_in address = Loopback();
  if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    throw std::runtime_error("no connection over TCP");
  }
  socket.DoNotDelay();

  std::vector<Candidate> candidates = {
      Bare("bare A", request),
      {"library",
       [&] {
         ZorServerInfo info;
         if (library->GetInfo(&info) != ZOR_SUCCESS) throw std::runtime_error("a call failed");
       }},
      Bare("bare B", request),
      BareWithMessages(),
      {"write and read",
       [&] {
         plain.Write(request);
         plain.Read();
       }},
      {"transact", [&] { transacting.Transact(request); }},
      {"TCP",
       [&] {
         socket.Send(request);
         if (!socket.Receive()) throw std::runtime_error("nothing came over TCP");
       }},
  };
  std::unique_ptr<RpcClient> rpc;
  if (RpcClient::Exists()) {
    rpc = std::make_unique<RpcClient>();
    candidates.push_back({"RPC", [&] { rpc->Exchange(request); }});
  }
  RunInRotation(candidates, turns);
}

}  // namespace
}  // namespace zor::bench

int main(int argc, char** argv) {
  return zor::bench::Guarded([&] {
    zor::bench::Turns turns;
    turns.rounds = zor::bench::Option(argc, argv, "--rounds", turns.rounds);
    turns.repeats = zor::bench::Option(argc, argv, "--repeats", turns.repeats);
    zor::bench::Run(turns);
  });
}
