#include "discovery/algorithm_catalogue.h"

namespace zor {
namespace {

// A dot stands for any character, also the one before "dll": the patterns are the vendor's.
std::wregex FileNames(const wchar_t* pattern) {
  return std::wregex(pattern, std::regex_constants::ECMAScript | std::regex_constants::icase);
}

}  // namespace

AlgorithmCatalogue BuildAlgorithmCatalogue() {
  return {
      {L"general", FileNames(L"K27(05|0C|0H)(02|06).dll")},
      {L"private", FileNames(L"K03(01|0A|0D|0E|0G|0K|0L|0M|0N|0V|0Z)(02|06).dll")},
      {L"whisper", FileNames(L"K03(08|0F|0Q)(06).dll")},
      {L"listen", FileNames(L"K25(09)(02|06).dll")},
      {L"listening_normalization", FileNames(L"K25(0B)(06).dll")},
      {L"shotgun_bf", FileNames(L"K03(0R|0S|0T|0U|0W)(06).dll")},
  };
}

std::wregex BuildLibraryFilter() { return FileNames(L"(K|k)[0-9a-zA-Z]{6}.dll"); }

}  // namespace zor
