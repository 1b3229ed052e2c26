// Writes the seeds of the corpora: what real servers, clients, packages and scenarios look like.
// usage: fuzz_seeds FOLDER
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

#include "messages/request.h"
#include "tests/golden/golden_requests.h"
#include "tests/kit/messages.h"
#include "tests/kit/remote_calls.h"

namespace zor::fuzz {
namespace {

using testing::Build;
using testing::Bytes;
using testing::Notification;
using testing::Reply;

class Folder {
 public:
  Folder(const std::filesystem::path& root, const std::string& target) : path_(root / target) {
    std::filesystem::create_directories(path_);
  }

  void Add(std::span<const std::uint8_t> bytes) {
    std::ofstream file(path_ / ("seed" + std::to_string(count_++)), std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  void Add(std::string_view text) { Add(Bytes(text.begin(), text.end())); }

 private:
  std::filesystem::path path_;
  int count_ = 0;
};

Bytes Join(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// The bytes behind their length.
Bytes Counted(const Bytes& bytes) {
  return Join({static_cast<std::uint8_t>(bytes.size() & 0xFFU),
               static_cast<std::uint8_t>(bytes.size() >> 8U)},
              bytes);
}

void WriteReplies(Folder folder) {
  std::uint8_t choice = 0;
  for (const auto& remote : testing::RemoteCalls()) {
    folder.Add(Join({choice}, remote.reply()));
    folder.Add(Join({choice}, Build(Reply{.result = 5})));
    folder.Add(Join({choice}, Build(Reply{.with_defaults = true})));
    ++choice;
  }
  const Reply algorithms{.enum_result = Reply::Names{2, {{"general", "private"}}}};
  folder.Add(Join({choice++}, Build(algorithms)));
  folder.Add(Join({choice}, Build(Reply{.float_param = 1.0F})));
  folder.Add(Join({0}, Bytes(1100)));
}

std::vector<Notification> Notifications() {
  return {{.type = 0, .value = 1},
          {.type = 1, .value = 0x12345678},
          {.type = 2, .value = 200},
          {.type = 3, .value = 0xFFFFFFFF},
          {.type = 4, .value = 1, .text = "text"},
          {.type = 5, .value = 7, .text = "another text"},
          {.type = 6},
          {.type = 255},
          {.type = 1, .func_name = "ZorIntfOther"}};
}

void WriteNotifications(Folder folder) {
  for (const auto& notification : Notifications()) folder.Add(Build(notification));
}

void WriteSequences(Folder folder) {
  constexpr std::uint8_t kPause = 15;
  Bytes all;
  for (const auto& notification : Notifications()) {
    const Bytes message = Join({0}, Counted(Build(notification)));
    folder.Add(Join({kPause}, Join(message, message)));
    all = Join(std::move(all), message);
  }
  folder.Add(Join({kPause}, all));
  const Bytes large = Join({0}, Counted(Bytes(1100, 1)));
  const Bytes empty = Join({0}, Counted({}));
  folder.Add(Join({kPause}, Join(all, Join(large, Join(empty, all)))));
  for (std::uint8_t what = 6; what < 12; ++what) {
    folder.Add(Join({kPause}, Join(all, Join({what, 0, 0, 0, 0, kPause}, all))));
  }
}

void WriteInfs(Folder folder) {
  folder.Add("[Version]\r\nSignature=\"$WINDOWS NT$\"\r\nDriverVer = 06/21/2023,1.0.33.52\r\n");
  folder.Add("; DriverVer\n[Version]\nDriverVer=06/21/2023,1.0.33.52\n");
  folder.Add("DriverVer=1.2.3\nDriverVer=1.2.3.4\n");
  folder.Add("DriverVer=99999999999.0.0.1");
  folder.Add("DriverVer=\xC3\xA4 70000.1.2.3");
  folder.Add("[Version]\n");
  folder.Add("DriverVer=" + std::string(513, '1'));
}

void WriteVersions(Folder folder) {
  for (const char* text : {"1.0.33.52", " 1 . 2 .\t3. 4 ", "-1.+2.3.4", "1.2.3", "1.2.3.4.5", "",
                           "4294967295.4294967296.0.0", "a.b.c.d", "1x.2y.3z.4"}) {
    folder.Add(text);
  }
}

void WriteMerges(Folder folder) {
  folder.Add(Bytes{0, 3, 0, 4, 6, 2, 0, 6, 0, 2});
  folder.Add(Bytes{3, 3, 0, 4, 6, 0, 0, 1, 2, 0, 1, 2, 3, 4, 0, 0xFF});
  folder.Add(Bytes{0xFC, 1, 1, 1, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 3});
  folder.Add(Bytes{0xFD, 5, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 2, 0, 0, 0, 0});
}

void WriteRequests(Folder folder) {
  Bytes session;
  for (const auto& request : golden::GoldenRequests()) {
    const Bytes bytes = golden::Capture(request);
    if (bytes.size() < 600) session = Join(std::move(session), Counted(bytes));
    folder.Add(Counted(bytes));
  }
  folder.Add(session);
  // Without their arguments, and with a block that is not as long as it says.
  for (const char* name : {"ZorIntfCreate", "ZorIntfConfig", "ZorIntfSet", "ZorIntfGet",
                           "ZorIntfSetSerialized", "ZorIntfGetSerialized"}) {
    for (const bool with_block : {false, true}) {
      messages::Builder builder;
      messages::Request request{.func_name = name, .handle = 1};
      if (with_block) request.blob_param = messages::CreateBlobParamDirect(builder, "a", 5);
      builder.Finish(messages::BuildRequest(builder, request));
      folder.Add(
          Counted({builder.GetBufferPointer(), builder.GetBufferPointer() + builder.GetSize()}));
    }
  }
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteScenarios(Folder folder) {
  const std::filesystem::path scenarios =
      std::filesystem::path(ZOR_SOURCES) / "simulator/scenarios";
  for (const auto& entry : std::filesystem::directory_iterator(scenarios)) {
    folder.Add(ReadFile(entry.path()));
  }
  // What is wrong in each, the reader's own tests say.
  for (const char* mistaken :
       {R"({"lists": {"2": ["a\u0000b"]}})", R"({"lists": {"2": [null, 1, true, [], {}, -1.5]}})",
        R"({"lists": {"x": [], "2": {}}})", R"({"echo_set": 1, "nothing": 2})",
        R"({"parameters": [{"name": "supproted_algo_name"}]})",
        R"({"parameters": [{"name": "gain", "min": 2, "max": 1, "default": 5}]})",
        R"({"blobs": [{"name": "a", "hex": "", "fill": 1}]})",
        R"({"blobs": [{"name": "a", "bytes": 1, "fill": 256}]})",
        R"({"blobs": [{"name": "a", "hex": "0g"}, {"name": "a", "text": ""}]})",
        R"({"limits": {"blob_bytes": 2}, "blobs": [{"name": "a", "bytes": 3}]})",
        R"({"limits": {"blobs_per_instance": 0}, "blobs": [{"name": "a", "bytes": 3}]})",
        R"({"faults": [{"drop": "unread", "call": "ZorIntfGet"}, {"no_reply": false}]})",
        R"({"faults": [{"drop": "now"}, {"result": 1, "seed": 1}, {"call": "ZorIntfGet"}]})",
        R"({"events": [{"on_connect": true, "close_pipes_ms": 1}, {"at_ms": 1, "drop": true}]})",
        R"({"information": [1, 2]})", "{\n\"a\": 1e}"}) {
    folder.Add(mistaken);
  }
  folder.Add(R"({"faults": [{"call": "ZorIntfStart", "nth": 1, "garbage_bytes": 30, "seed": 3}]})");
  folder.Add(R"({"events": [{"every_ms": 10, "count": 3, "type": 4, "flag": true, "text": "x"}]})");
}

void WriteScripts(Folder folder) {
  folder.Add(
      "# a session\r\ncreate reverb hall\nconfig $handle \"room size\" 'large'\n"
      "start $handle\nset $handle gain -1.5e-3\nget $handle gain --no-list\n"
      "status $handle\nstop $handle\ndestroy $handle\n");
  folder.Add(
      "info --json\nlist\nlist --selector 0x2\n\n\t# nothing\nblob set 1 preset block.bin\n");
  folder.Add("blob get 1 \"a \\\"name\\\\\" -o -\nset 1 x nan\nset 1 x inf");
  folder.Add("\xEF\xBB\xBFinfo 'open\n");
  folder.Add("start $other\nbatch -\n--help\nlist --help\n");
}

}  // namespace
}  // namespace zor::fuzz

int main(int count, char** arguments) {
  using namespace zor::fuzz;
  if (count != 2) {
    std::fputs("usage: fuzz_seeds FOLDER\n", stderr);
    return 2;
  }
  const std::filesystem::path root = arguments[1];
  WriteReplies({root, "reply"});
  WriteNotifications({root, "notification"});
  WriteSequences({root, "listener"});
  WriteInfs({root, "inf"});
  WriteVersions({root, "version"});
  WriteMerges({root, "merge"});
  WriteRequests({root, "sim_request"});
  WriteScenarios({root, "scenario"});
  WriteScripts({root, "script"});
  return 0;
}
