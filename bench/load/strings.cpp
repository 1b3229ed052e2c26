// A library with the C++ runtime's strings and exceptions.
#include <stdexcept>
#include <string>

extern "C" __declspec(dllexport) int BenchPart(const char* text) {
  try {
    if (*text == '\0') throw std::invalid_argument("empty");
    return static_cast<int>((std::string(text) + text).size());
  } catch (const std::exception&) {
    return -1;
  }
}
