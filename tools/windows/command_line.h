/// The command line of a process that is started.
#pragma once

#include <cstddef>
#include <string>

namespace zor::windows {

/// One argument, quoted so that the other side's runtime takes it apart as it was.
[[nodiscard]] inline std::wstring QuoteArgument(const std::wstring& argument) {
  std::wstring quoted = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'\\') {
      ++backslashes;
    } else {
      // Only before a quotation mark does a backslash need doubling.
      quoted.append(character == L'"' ? backslashes * 2 + 1 : backslashes, L'\\');
      backslashes = 0;
      quoted += character;
    }
  }
  quoted.append(backslashes * 2, L'\\');
  return quoted + L'"';
}

}  // namespace zor::windows
