#include "tests/zorctl/support/program.h"

#include <array>
#include <iostream>
#include <utility>

#include "tests/integration/support/loaded_library.h"
#include "tests/integration/support/start_process.h"
#include "tools/windows/command_line.h"

namespace zor::testing {
namespace {

/// The child's end is inherited, this process's is not.
struct Pipe {
  UniqueHandle read;
  UniqueHandle write;
};

Pipe MakePipe(bool child_reads) {
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (CreatePipe(&read, &write, &inherited, 0) == FALSE) ThrowLastError("CreatePipe");
  Pipe pipe{UniqueHandle(read), UniqueHandle(write)};
  SetHandleInformation((child_reads ? pipe.write : pipe.read).get(), HANDLE_FLAG_INHERIT, 0);
  return pipe;
}

/// As a reader in text mode sees it.
std::string WithoutCarriageReturns(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool line_end = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (!line_end) plain += text[i];
  }
  return plain;
}

}  // namespace

Program::Program(const std::wstring& file, const std::vector<std::wstring>& arguments,
                 const std::string& input, Output output) {
  const bool absolute = file.find(L':') != std::wstring::npos;
  const std::wstring program = absolute ? file : BinaryFolder() + L"\\" + file;
  std::wstring line = windows::QuoteArgument(program);
  for (const std::wstring& argument : arguments) line += L' ' + windows::QuoteArgument(argument);

  Pipe in = MakePipe(true);
  Pipe out = MakePipe(false);
  Pipe err = MakePipe(false);
  if (output == Output::kClosed) out.read.reset();
  STARTUPINFOW startup{};
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = in.read.get();
  startup.hStdOutput = output == Output::kNone ? nullptr : out.write.get();
  startup.hStdError = err.write.get();
  process_ = StartProcess(line, startup, true);
  out_.pipe = std::move(out.read);
  err_.pipe = std::move(err.read);
  input_ = std::move(in.write);
  // The child's ends are closed here, so that the streams end with the child.
  out.write.reset();
  err.write.reset();
  threads_.emplace_back([this] { Read(out_); });
  threads_.emplace_back([this] { Read(err_); });
  // What is written fits into the pipe's buffer, or the child reads it.
  DWORD written = 0;
  if (!input.empty()) {
    WriteFile(input_.get(), input.data(), static_cast<DWORD>(input.size()), &written, nullptr);
  }
  input_.reset();
}

Program::~Program() {
  TerminateProcess(process_.get(), 1);
  WaitForSingleObject(process_.get(), kPatienceMs);
}

Finished Program::Finish() {
  Finished finished;
  if (WaitForSingleObject(process_.get(), kPatienceMs) == WAIT_OBJECT_0) {
    DWORD status = 0;
    GetExitCodeProcess(process_.get(), &status);
    finished.status = static_cast<int>(status);
  } else {
    TerminateProcess(process_.get(), 1);
  }
  threads_.clear();
  finished.out = WithoutCarriageReturns(out_.text);
  finished.err = WithoutCarriageReturns(err_.text);
  return finished;
}

void Program::Read(Stream& stream) {
  std::array<char, 4096> part{};
  DWORD count = 0;
  while (ReadFile(stream.pipe.get(), part.data(), static_cast<DWORD>(part.size()), &count,
                  nullptr) != FALSE) {
    AcquireSRWLockExclusive(&lock_);
    stream.text.append(part.data(), count);
    ReleaseSRWLockExclusive(&lock_);
    WakeAllConditionVariable(&more_);
  }
  AcquireSRWLockExclusive(&lock_);
  stream.ended = true;
  ReleaseSRWLockExclusive(&lock_);
  WakeAllConditionVariable(&more_);
}

bool Program::WaitFor(Stream& stream, const std::string& text) {
  AcquireSRWLockExclusive(&lock_);
  const auto there = [&] { return stream.text.find(text) != std::string::npos; };
  while (!there() && !stream.ended &&
         SleepConditionVariableSRW(&more_, &lock_, kPatienceMs, 0) != FALSE) {
  }
  const bool found = there();
  if (!found) {
    std::cerr << "waited for \"" << text << "\"; the program has written: " << stream.text << '\n';
  }
  ReleaseSRWLockExclusive(&lock_);
  return found;
}

Finished Zorctl(const std::vector<std::wstring>& arguments, const std::string& input) {
  return Program(L"zorctl.exe", arguments, input).Finish();
}

}  // namespace zor::testing
