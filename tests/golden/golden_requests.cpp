#include "tests/golden/golden_requests.h"

#include <array>
#include <limits>
#include <numeric>
#include <vector>

#include "tests/kit/messages.h"
#include "tests/support/library_test.h"

namespace zor::golden {
namespace {

using testing::Bytes;

constexpr const char* kAlgorithm = "supproted_algo_name";

void Enum(std::uint32_t selector) {
  ZorNameList list{0, nullptr};
  static_cast<void>(ZorIntfEnum(selector, &list));
}

void Create(const char* name, const char* value) {
  std::uint32_t handle = 0;
  const ZorTextParam param{name, value};
  static_cast<void>(ZorIntfCreate(&handle, &param));
}

void Config(std::uint32_t handle, const char* name, const char* value) {
  const ZorTextParam param{name, value};
  static_cast<void>(ZorIntfConfig(handle, &param));
}

void Set(const std::string& name, float value) {
  ZorFloatParam param{name.c_str(), value};
  static_cast<void>(ZorIntfSet(5, &param));
}

void Get(std::uint32_t handle, const char* name, float value) {
  ZorFloatParam param{name, value};
  static_cast<void>(ZorIntfGet(handle, &param));
}

char preset[] = "preset";

void SetSerialized(std::uint32_t handle, char* name, Bytes data) {
  const ZorBlob blob{name, static_cast<std::uint32_t>(data.size()), data.data()};
  static_cast<void>(ZorIntfSetSerialized(handle, &blob));
}

void GetSerialized(char* name, Bytes data) {
  const ZorBlob input{name, static_cast<std::uint32_t>(data.size()), data.data()};
  ZorBlob output{nullptr, 0, nullptr};
  static_cast<void>(ZorIntfGetSerialized(5, &input, &output));
}

/// All 256 bytes in order.
Bytes AllBytes() {
  Bytes bytes(256);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

constexpr std::uint32_t kLargest = 0xFFFFFFFF;

const std::array kRequests{
    GoldenRequest{"get_info",
                  [] {
                    ZorServerInfo info;
                    static_cast<void>(ZorIntfGetInfo(&info));
                  }},
    GoldenRequest{"enum_selector_0", [] { Enum(0); }},
    GoldenRequest{"enum_selector_2", [] { Enum(2); }},
    GoldenRequest{"enum_selector_255", [] { Enum(255); }},
    GoldenRequest{"enum_selector_258_is_sent_as_2", [] { Enum(258); }},
    GoldenRequest{"create", [] { Create("reverb", "hall"); }},
    GoldenRequest{"create_null_value", [] { Create("reverb", nullptr); }},
    GoldenRequest{"create_null_name", [] { Create(nullptr, "hall"); }},
    GoldenRequest{"create_null_both", [] { Create(nullptr, nullptr); }},
    GoldenRequest{"create_empty_texts", [] { Create("", ""); }},
    GoldenRequest{"create_utf8_texts", [] { Create("H\xC3\xB6rsaal", "gro\xC3\x9F"); }},
    GoldenRequest{"config", [] { Config(5, "room", "large"); }},
    GoldenRequest{"config_handle_0", [] { Config(0, "room", "large"); }},
    GoldenRequest{"get_status",
                  [] {
                    std::uint32_t status = 0;
                    static_cast<void>(ZorIntfGetStatus(5, &status));
                  }},
    GoldenRequest{"start", [] { static_cast<void>(ZorIntfStart(5)); }},
    GoldenRequest{"start_handle_0", [] { static_cast<void>(ZorIntfStart(0)); }},
    GoldenRequest{"stop", [] { static_cast<void>(ZorIntfStop(5)); }},
    GoldenRequest{"stop_largest_handle", [] { static_cast<void>(ZorIntfStop(kLargest)); }},
    GoldenRequest{"destroy", [] { static_cast<void>(ZorIntfDestroy(5)); }},
    GoldenRequest{"set", [] { Set("gain", -1.5F); }},
    GoldenRequest{"set_zero", [] { Set("gain", 0.0F); }},
    GoldenRequest{"set_minus_zero", [] { Set("gain", -0.0F); }},
    GoldenRequest{"set_nan", [] { Set("gain", std::numeric_limits<float>::quiet_NaN()); }},
    GoldenRequest{"set_infinity", [] { Set("gain", std::numeric_limits<float>::infinity()); }},
    GoldenRequest{"set_empty_name", [] { Set("", 1.0F); }},
    GoldenRequest{"set_long_name", [] { Set(std::string(300, 'n'), 1.0F); }},
    GoldenRequest{"set_algorithm",
                  [] {
                    TheLibrary().algorithm_ids = {{"general", 10, 0}};
                    Set(kAlgorithm, 0.0F);  // sent as the server's 10
                  }},
    GoldenRequest{"get", [] { Get(5, "gain", 1.0F); }},
    GoldenRequest{"get_handle_0", [] { Get(0, "gain", 0.0F); }},
    GoldenRequest{"set_serialized",
                  [] {
                    SetSerialized(5, preset, {1, 2, 3});
                  }},
    GoldenRequest{"set_serialized_empty", [] { SetSerialized(5, preset, {}); }},
    GoldenRequest{"set_serialized_null_name", [] { SetSerialized(5, nullptr, {1}); }},
    GoldenRequest{"set_serialized_all_bytes", [] { SetSerialized(kLargest, preset, AllBytes()); }},
    GoldenRequest{"get_serialized",
                  [] {
                    GetSerialized(preset, {1, 2, 3});
                  }},
    GoldenRequest{"get_serialized_empty", [] { GetSerialized(preset, {}); }},
    GoldenRequest{"get_serialized_null_name", [] { GetSerialized(nullptr, {}); }},
};

}  // namespace

std::span<const GoldenRequest> GoldenRequests() { return kRequests; }

Bytes Capture(const GoldenRequest& request) {
  scripted::ThePipes().Reset();
  scripted::TheThreads().SetBegin(scripted::Threads::Begin::kNever);
  scripted::ThePipes().Listen(kRequestPipe, [](const Bytes&) {
    return std::vector<Bytes>{testing::Build(testing::Reply{})};
  });
  const scripted::LoadedLibrary library;
  request.call();
  const auto written = scripted::ThePipes().TakeWritten(kRequestPipe);
  return written.size() == 1 ? written.front() : Bytes{};
}

std::string ToHex(const Bytes& bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::size_t kPerLine = 16;
  std::string hex;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    hex += kDigits[bytes[i] / 16U];
    hex += kDigits[bytes[i] % 16U];
    hex += (i + 1) % kPerLine == 0 || i + 1 == bytes.size() ? '\n' : ' ';
  }
  return hex;
}

}  // namespace zor::golden
