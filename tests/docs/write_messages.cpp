// Writes the messages of the simulated server that the protocol page shows: its reply to a request
// whose bytes are pinned, and a notification.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <stdexcept>
#include <string>

#include "simulator/default_scenario.h"
#include "simulator/instance_model.h"
#include "simulator/message_builder.h"
#include "simulator/request_handler.h"

namespace {

using zor::sim::Bytes;

constexpr std::uint32_t kInstance = 5;  // the one that the pinned request asks

Bytes ReadHex(const std::filesystem::path& path) {
  std::ifstream file(path);
  Bytes bytes;
  for (unsigned byte = 0; file >> std::hex >> byte;)
    bytes.push_back(static_cast<std::uint8_t>(byte));
  if (bytes.empty()) throw std::runtime_error(path.string() + " holds no message");
  return bytes;
}

void WriteHex(const std::filesystem::path& path, const Bytes& bytes) {
  constexpr std::size_t kPerLine = 16;
  constexpr auto kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    text += kDigits[bytes[i] / 16U];
    text += kDigits[bytes[i] % 16U];
    text += (i + 1) % kPerLine == 0 || i + 1 == bytes.size() ? '\n' : ' ';
  }
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) throw std::runtime_error(path.string() + " cannot be written");
}

void Require(zor::sim::Result result) {
  if (result != zor::sim::Result::kSuccess) throw std::runtime_error("the server refused");
}

Bytes ReplyTo(const Bytes& request_bytes) {
  const zor::sim::Scenario& scenario = zor::sim::DefaultScenario();
  zor::sim::InstanceModel model(scenario);
  std::uint32_t handle = 0;
  while (handle != kInstance) Require(model.Create("general", handle));
  Require(model.SetParameter(kInstance, "gain", 0.5F));
  const zor::sim::Request request = zor::sim::ReadRequest(request_bytes);
  const zor::sim::Reply reply = zor::sim::AnswerRequest(scenario, model, request);
  if (reply.result != 0) throw std::runtime_error("the server does not know the request");
  return zor::sim::BuildReply(reply);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) throw std::runtime_error("usage: write_messages REQUEST.hex FOLDER");
  const std::filesystem::path folder = argv[2];
  WriteHex(folder / "get-reply.hex", ReplyTo(ReadHex(argv[1])));
  WriteHex(folder / "notification.hex",
           zor::sim::BuildNotification({.type = 5, .value = kInstance, .text = "started"}));
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "write_messages: %s\n", error.what());
  return 1;
}
