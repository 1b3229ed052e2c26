// A library with a wide regular expression, which is made when it is used.
#include <regex>

extern "C" __declspec(dllexport) int BenchPart(const wchar_t* text) {
  const std::wregex pattern(L"(a|b)+", std::regex_constants::icase);
  return std::regex_match(text, pattern) ? 1 : 0;
}
