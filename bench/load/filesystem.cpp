// A library that lists a directory.
#include <filesystem>

extern "C" __declspec(dllexport) int BenchPart(const wchar_t* path) {
  std::error_code error;
  int entries = 0;
  for (std::filesystem::directory_iterator at(path, error), end; !error && at != end;
       at.increment(error)) {
    ++entries;
  }
  return entries;
}
