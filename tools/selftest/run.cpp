#include "tools/selftest/run.h"

#include <windows.h>

#include <cstdio>
#include <exception>
#include <string_view>

#include "tools/selftest/clock.h"
#include "tools/selftest/self.h"
#include "tools/selftest/text.h"

namespace zor::selftest {
namespace {

// What a child writes: lines that begin with one of these words. The first says that it has begun.
constexpr std::string_view kBegun = "begun";
constexpr std::string_view kNote = "note ";
constexpr std::string_view kSeen = "seen ";
constexpr std::string_view kFailed = "failed ";

void Tell(std::string_view word, std::string_view text) {
  std::printf("%.*s%.*s\n", static_cast<int>(word.size()), word.data(),
              static_cast<int>(text.size()), text.data());
  std::fflush(stdout);
}

struct OutputPipe {
  UniqueHandle read;
  UniqueHandle write;  ///< inherited by children

  OutputPipe() {
    // A child writes less than this, so that it never waits for its reader.
    constexpr DWORD kRoom = 1 << 20;
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE read_end = nullptr;
    HANDLE write_end = nullptr;
    if (CreatePipe(&read_end, &write_end, &inherited, kRoom) == FALSE) ThrowLastError("CreatePipe");
    read.reset(read_end);
    write.reset(write_end);
    SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
  }

  /// What is in the pipe; does not wait for its end, which a process left behind could hold open.
  [[nodiscard]] std::string Text() const {
    std::string text;
    DWORD available = 0;
    while (PeekNamedPipe(read.get(), nullptr, 0, nullptr, &available, nullptr) != FALSE &&
           available != 0) {
      std::string part(available, '\0');
      DWORD count = 0;
      if (ReadFile(read.get(), part.data(), available, &count, nullptr) == FALSE) break;
      text.append(part, 0, count);
    }
    return text;
  }
};

/// Calls `take` with each line, without its end.
template <typename Take>
void ForEachLine(std::string_view text, Take take) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    take(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

/// Takes what the child has told; false when it has told no answer.
bool Take(std::string_view output, Sighting& sighting) {
  bool answered = false;
  ForEachLine(output, [&](std::string_view line) {
    if (line.starts_with(kNote)) sighting.notes.emplace_back(line.substr(kNote.size()));
    if (line.starts_with(kSeen)) {
      sighting.end = Sighting::End::kSeen;
      sighting.seen = line.substr(kSeen.size());
      answered = true;
    }
    if (line.starts_with(kFailed)) {
      sighting.end = Sighting::End::kCouldNotLook;
      sighting.seen = line.substr(kFailed.size());
      answered = true;
    }
  });
  return answered;
}

/// False when nothing of the program has run.
bool TryOnce(const Check& check, int limit_seconds, Sighting& sighting) {
  const OutputPipe output;
  const SelfProcess child(L"--check " + std::wstring(check.name.begin(), check.name.end()),
                          output.write.get());
  const bool ended = child.EndsWithin(static_cast<DWORD>(limit_seconds) * 1000);
  const DWORD code = child.ExitCode();
  child.Kill();
  const std::string told = output.Text();
  const bool answered = Take(told, sighting);
  if (!ended) {
    sighting.end = Sighting::End::kHung;
    sighting.seen = Text("no end within ", limit_seconds, " seconds");
  } else if (!answered || (sighting.end == Sighting::End::kSeen && code != 0)) {
    sighting.end = Sighting::End::kCrashed;
    sighting.seen = Text("the process ended with ", Hex(code),
                         answered ? ", after it had seen: " + sighting.seen : "");
  }
  return told.starts_with(kBegun);
}

}  // namespace

int LookAndTell(const Check& check) {
  Tell(kBegun, "");
  // A library or a program that cannot be started is told to the caller, not to the user in a box.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  Notes notes;
  try {
    const std::string seen = check.look(notes);
    for (const std::string& note : notes) Tell(kNote, note);
    Tell(kSeen, seen);
    return 0;
  } catch (const std::exception& error) {
    for (const std::string& note : notes) Tell(kNote, note);
    Tell(kFailed, error.what());
    return 1;
  }
}

Sighting LookInAChild(const Check& check, int limit_seconds) {
  constexpr int kStarts = 5;  // Wine loses a start now and then
  const Stopwatch watch;
  Sighting sighting;
  for (int i = 0; i < kStarts; ++i) {
    if (TryOnce(check, limit_seconds, sighting)) break;
  }
  sighting.milliseconds = watch.Microseconds() / 1000;
  return sighting;
}

}  // namespace zor::selftest
