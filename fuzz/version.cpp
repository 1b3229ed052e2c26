// The text of a version, as the management service and INF files give it.
#include <stdexcept>

#include "discovery/driver_version.h"
#include "fuzz/harness.h"
#include "fuzz/plain_version.h"

namespace zor::fuzz {
namespace {

PlainVersion ProductParse(const std::wstring& text) {
  try {
    return {.version = ParseVersion(text)};
  } catch (const std::out_of_range&) {
    return {.outcome = PlainVersion::kOutOfRange};
  } catch (const std::invalid_argument&) {
    return {.outcome = PlainVersion::kInvalid};
  }
}

void RequireSplit(const std::wstring& text, wchar_t delimiter) {
  const auto pieces = SplitString(text, delimiter, false);
  std::wstring joined = pieces.front();
  for (std::size_t i = 1; i < pieces.size(); ++i) joined += delimiter + pieces[i];
  Require(joined == text, "the pieces are not the text");

  const auto trimmed = SplitString(text, delimiter, true);
  Require(trimmed.size() == pieces.size(), "trimming changes the number of pieces");
  for (std::size_t i = 0; i < trimmed.size(); ++i) {
    const std::wstring& piece = trimmed[i];
    Require(pieces[i].find(piece) != std::wstring::npos, "trimming changes a piece");
    if (piece.empty()) continue;
    Require(!IsPlainSpace(piece.front()) && !IsPlainSpace(piece.back()), "not trimmed");
  }
}

}  // namespace
}  // namespace zor::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Mostly ASCII, with an escape to any character of 16 bits.
  zor::fuzz::Input input(data, size);
  std::wstring text;
  while (!input.empty()) {
    const std::uint8_t byte = input.Byte();
    text += static_cast<wchar_t>(byte < 0x80 ? byte : input.Word());
  }
  zor::fuzz::Require(zor::fuzz::ProductParse(text) == zor::fuzz::PlainParse(text),
                     "another version");
  zor::fuzz::RequireSplit(text, L'.');
  return 0;
}
