// What a message pipe does at its client's end: the system alone.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <optional>

#include "tools/selftest/acts.h"
#include "tools/selftest/background.h"
#include "tools/selftest/checks/checks.h"
#include "tools/selftest/pipe_pair.h"
#include "tools/selftest/self.h"

namespace zor::selftest {
namespace {

constexpr std::size_t kRoom = 1024;  // as the library reads

/// What the next read takes; does not wait for a message to come.
std::string TakeNext(HANDLE pipe, std::size_t room) {
  const Waiting waiting = Peek(pipe);
  if (waiting.ok && waiting.total == 0) return "nothing";
  return Told(Read(pipe, room));
}

std::string OneMessage(Notes& /*notes*/) {
  const PipePair pipe;
  for (const std::size_t size : {10U, 20U, 30U}) static_cast<void>(Write(pipe.server.get(), size));
  const std::string first = TakeNext(pipe.client.get(), 60);
  const std::string second = TakeNext(pipe.client.get(), 60);
  return Text(first, ", ", second, ", ", TakeNext(pipe.client.get(), 60));
}

std::string ByteMode(Notes& /*notes*/) {
  const PipePair pipe(false);
  for (const std::size_t size : {10U, 20U}) static_cast<void>(Write(pipe.server.get(), size));
  const std::string before = Told(Read(pipe.client.get(), kRoom));
  SetMessageMode(pipe.client.get());
  for (const std::size_t size : {10U, 20U}) static_cast<void>(Write(pipe.server.get(), size));
  return Text("opened: ", before, "; switched: ", Told(Read(pipe.client.get(), kRoom)));
}

std::string PeekSum(Notes& notes) {
  const PipePair pipe;
  for (const std::size_t size : {10U, 20U, 30U}) static_cast<void>(Write(pipe.server.get(), size));
  const Waiting waiting = Peek(pipe.client.get());
  notes.push_back(Text("left in the first message: ", waiting.in_message));
  return Text("3 messages: ", Told(waiting), "; none: ", Told(Peek(PipePair().client.get())));
}

std::string PeekKeeps(Notes& /*notes*/) {
  PipePair pipe;
  pipe.server.reset();
  DWORD total = 4711;
  const BOOL ok = PeekNamedPipe(pipe.client.get(), nullptr, 0, nullptr, &total, nullptr);
  return ok == FALSE ? Text("fails; the count is ", total) : "succeeds";
}

std::string LongMessage(Notes& /*notes*/) {
  const PipePair pipe;
  static_cast<void>(Write(pipe.server.get(), kRoom + 1));
  const Transfer first = Read(pipe.client.get(), kRoom);
  const Waiting rest = Peek(pipe.client.get());
  return Text(Told(first), "; waiting ", Told(rest), "; then ", TakeNext(pipe.client.get(), kRoom));
}

std::string EmptyMessage(Notes& /*notes*/) {
  const PipePair pipe;
  static_cast<void>(Write(pipe.server.get(), 0));
  const Waiting alone = Peek(pipe.client.get());
  static_cast<void>(Write(pipe.server.get(), 5));
  const Waiting both = Peek(pipe.client.get());
  if (both.total == 0) return "nothing of the next is seen";
  const Transfer first = Read(pipe.client.get(), kRoom);
  return Text("waiting ", Told(alone), ", with another ", Told(both), "; read ", Told(first), ", ",
              TakeNext(pipe.client.get(), kRoom));
}

std::string EmptyLast(Notes& /*notes*/) {
  PipePair pipe;
  static_cast<void>(Write(pipe.server.get(), 0));
  pipe.server.reset();
  return Text("waiting ", Told(Peek(pipe.client.get())));
}

// --- opening

std::string OpenError(const std::wstring& name) {
  const HANDLE opened = OpenAsTheLibraryDoes(name);
  const DWORD error = GetLastError();
  const bool ok = opened != INVALID_HANDLE_VALUE;
  if (ok) CloseHandle(opened);
  return Told(ok, error);
}

std::string Absent(Notes& /*notes*/) { return OpenError(NewPipeName()); }

std::string Busy(Notes& /*notes*/) {
  const PipePair pipe;
  return OpenError(pipe.name);
}

std::string NotListening(Notes& /*notes*/) {
  const PipePair pipe;
  DisconnectNamedPipe(pipe.server.get());
  const std::string before = OpenError(pipe.name);
  // Ends at once with 997 or 536; the instance listens from then on.
  DWORD mode = PIPE_READMODE_MESSAGE | PIPE_NOWAIT;
  SetNamedPipeHandleState(pipe.server.get(), &mode, nullptr, nullptr);
  ConnectNamedPipe(pipe.server.get(), nullptr);
  return Text(before, "; listening again: ", OpenError(pipe.name));
}

std::string BeforeConnect(Notes& /*notes*/) {
  const PipePair pipe;  // opened by now
  const BOOL ok = ConnectNamedPipe(pipe.server.get(), nullptr);
  return Told(ok != FALSE, GetLastError());
}

struct LocalFreer {
  void operator()(void* memory) const noexcept { LocalFree(memory); }
};

/// What opening says of a pipe with this access list.
std::string OpenWithAccess(const wchar_t* list) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(list, SDDL_REVISION_1, &descriptor,
                                                           nullptr) == FALSE) {
    ThrowLastError("the access list");
  }
  const std::unique_ptr<void, LocalFreer> owner(descriptor);
  SECURITY_ATTRIBUTES security{sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
  const std::wstring name = NewPipeName();
  const UniqueHandle server = MakeInstance(name, 4, &security);
  return OpenError(name);
}

std::string Refused(Notes& /*notes*/) { return OpenWithAccess(L"D:"); }

std::string RightToServe(Notes& /*notes*/) {
  // Everyone: all that reading and writing needs, without and with the right to make instances.
  const std::string without = OpenWithAccess(L"D:(A;;0x12019b;;;WD)");
  return Text("without: ", without, "; with: ", OpenWithAccess(L"D:(A;;0x12019f;;;WD)"));
}

std::string WaitingFor(Notes& /*notes*/) {
  const auto wait = [](const std::wstring& name) {
    const BOOL ok = WaitNamedPipeW(name.c_str(), 250);
    return Told(ok != FALSE, GetLastError());
  };
  const std::wstring free = NewPipeName();
  const UniqueHandle server = MakeInstance(free);
  const PipePair taken;
  return Text("free: ", wait(free), "; taken: ", wait(taken.name),
              "; absent: ", wait(NewPipeName()));
}

std::string NotInherited(Notes& /*notes*/) {
  const PipePair pipe;
  DWORD flags = 0;
  if (GetHandleInformation(pipe.client.get(), &flags) == FALSE) {
    ThrowLastError("GetHandleInformation");
  }
  return (flags & HANDLE_FLAG_INHERIT) != 0 ? "inherited" : "not inherited";
}

std::string Impersonation(Notes& /*notes*/) {
  const PipePair pipe;
  static_cast<void>(Write(pipe.client.get(), 1));
  static_cast<void>(Read(pipe.server.get(), kRoom));
  if (ImpersonateNamedPipeClient(pipe.server.get()) == FALSE) {
    return Text("not at all: error ", GetLastError());
  }
  HANDLE opened = nullptr;
  const BOOL ok = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &opened);
  const DWORD error = GetLastError();
  RevertToSelf();
  if (ok == FALSE) return Text("no token: error ", error);
  const UniqueHandle token(opened);
  SECURITY_IMPERSONATION_LEVEL level{};
  DWORD size = 0;
  if (GetTokenInformation(token.get(), TokenImpersonationLevel, &level, sizeof(level), &size) ==
      FALSE) {
    ThrowLastError("GetTokenInformation");
  }
  return Text("level ", static_cast<int>(level));
}

// --- the server's end

std::string AllThree(HANDLE client) {
  const Waiting waiting = Peek(client);
  const Transfer read = Read(client, kRoom);
  const Transfer written = Write(client, 1);
  return Text("peek ", Told(waiting), ", read ", Told(read), ", write ", Told(written));
}

std::string Disconnected(Notes& /*notes*/) {
  const PipePair pipe;
  static_cast<void>(Write(pipe.server.get(), 10));
  DisconnectNamedPipe(pipe.server.get());
  return AllThree(pipe.client.get());
}

std::string Closed(Notes& /*notes*/) {
  PipePair pipe;
  pipe.server.reset();
  return AllThree(pipe.client.get());
}

std::string ClosedWithData(Notes& /*notes*/) {
  PipePair pipe;
  static_cast<void>(Write(pipe.server.get(), 10));
  pipe.server.reset();
  const Transfer written = Write(pipe.client.get(), 1);
  const Waiting waiting = Peek(pipe.client.get());
  const Transfer read = Read(pipe.client.get(), kRoom);
  return Text("write ", Told(written), ", peek ", Told(waiting), ", read ", Told(read), "; then ",
              AllThree(pipe.client.get()));
}

std::string Killed(Notes& /*notes*/) {
  const std::wstring name = NewPipeName();
  const SelfProcess server(std::wstring(L"--act ") + kServeAndWait + L" " + name);
  HANDLE opened = INVALID_HANDLE_VALUE;
  for (DWORD waited = 0; opened == INVALID_HANDLE_VALUE && waited < kPatienceMs; waited += 10) {
    Sleep(10);
    opened = OpenAsTheLibraryDoes(name);
  }
  const UniqueHandle client = Require(opened, "opening the pipe of the other process");
  SetMessageMode(client.get());
  static_cast<void>(Write(client.get(), 1));  // the server writes 10 and 20 then
  static_cast<void>(Read(client.get(), kRoom));
  for (DWORD waited = 0; Peek(client.get()).total == 0 && waited < kPatienceMs; waited += 10) {
    Sleep(10);
  }
  server.Kill();
  const Transfer read = Read(client.get(), kRoom);
  return Text("read ", Told(read), "; then ", AllThree(client.get()));
}

std::string ClientDisconnects(Notes& /*notes*/) {
  const PipePair pipe;
  const BOOL ok = DisconnectNamedPipe(pipe.client.get());
  const DWORD error = GetLastError();
  static_cast<void>(Write(pipe.server.get(), 10));
  return Text(Told(ok != FALSE, error), "; then read ", Told(Read(pipe.client.get(), kRoom)));
}

// --- one operation waits for another

/// Whether `action` waits while another thread reads the client's end, and what it comes to when a
/// message has ended the reading.
template <typename Action>
std::string WhileReading(const PipePair& pipe, Action action) {
  const Event reading;
  Transfer read;
  const HANDLE client = pipe.client.get();
  const Background reader([&] {
    reading.Set();
    read = Read(client, kRoom);
  });
  reading.Await("the reader");
  Sleep(100);  // into ReadFile()
  const Background acting([&] { action(client); });
  const bool waits = !acting.EndsWithin(kWaitingMs);
  static_cast<void>(Write(pipe.server.get(), 10));
  acting.Await("the operation");
  if (!reader.EndsWithin(kWaitingMs)) {
    CancelSynchronousIo(reader.handle());
    reader.Await("the reading");
  }
  return waits ? "waits" : "does not wait";
}

std::string PeekWaits(Notes& /*notes*/) {
  const PipePair pipe;
  return WhileReading(pipe, [](HANDLE client) { static_cast<void>(Peek(client)); });
}

std::string CloseWaits(Notes& /*notes*/) {
  PipePair pipe;
  return WhileReading(pipe, [&](HANDLE /*client*/) { pipe.client.reset(); });
}

std::string WriteWaits(Notes& /*notes*/) {
  const std::wstring name = NewPipeName();
  constexpr DWORD kSmall = 4096;
  const UniqueHandle server =
      Require(CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX,
                               PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT, 1, kSmall,
                               kSmall, 0, nullptr),
              "CreateNamedPipe");
  const UniqueHandle client = Require(OpenAsTheLibraryDoes(name), "opening the pipe");
  constexpr int kMessages = 100;
  int refused = 0;
  const Background writer([&] {
    for (int i = 0; i < kMessages; ++i) refused += Write(client.get(), kRoom).ok ? 0 : 1;
  });
  const bool waits = !writer.EndsWithin(kWaitingMs);
  int arrived = 0;
  for (bool ended = false; !ended || Peek(server.get()).total != 0;) {
    if (Peek(server.get()).total != 0) {
      arrived += Read(server.get(), kRoom).ok ? 1 : 0;
    } else {
      ended = writer.EndsWithin(1);
    }
  }
  return Text(waits ? "waits" : "does not wait", "; ", refused, " refused, ", arrived, " arrive");
}

constexpr std::string_view kDecisions = "docs/decisions.md";
constexpr std::string_view kThreading = "docs/threading.md";
constexpr std::string_view kSecurity = "SECURITY.md";
constexpr std::string_view kProtocol = "docs/protocol.md";

constexpr std::array kChecks = {
    Check{"pipes.one-message", "A read takes one message, though more are queued.", kThreading,
          "**Read** one message of at most 1024 bytes", "10, 20, 30", "", OneMessage},
    Check{"pipes.message-mode",
          "A client's end begins in byte mode, and reads messages once it is switched.", kProtocol,
          "It then sets its end to message-read mode", "opened: 30; switched: 10", "", ByteMode},
    Check{"pipes.peek-sum",
          "A peek tells the bytes of all messages that wait, and 0 when none does.", kThreading,
          "ask how many bytes are waiting", "3 messages: 60; none: 0", "", PeekSum},
    Check{"pipes.peek-keeps", "A peek that fails leaves the count as it was.", kThreading,
          "If this fails, close the handle and begin the next pass", "fails; the count is 4711", "",
          PeekKeeps},
    Check{"pipes.long-message",
          "A read of a message that is too long fails with 234 and what fits; the next read takes "
          "the rest.",
          kDecisions, "A longer message is dropped: its rest is read and thrown away",
          "error 234 with 1024; waiting 1; then 1", "", LongMessage},
    Check{"pipes.empty-message",
          "A message of no bytes is not seen by a peek, and read as one of its own.", kDecisions,
          "A message of zero bytes", "waiting 0, with another 5; read 0, 5", "", EmptyMessage},
    Check{"pipes.empty-last",
          "A message of no bytes that is the last stays unseen: the pipe does not look broken.",
          kDecisions, "a peek still succeeds and says that nothing is waiting", "waiting 0", "",
          EmptyLast},
    Check{"pipes.absent", "Opening a pipe that does not exist fails with 2.",
          "docs/troubleshooting.md", "2: the server is not running; start it", "error 2", "",
          Absent},
    Check{"pipes.busy", "Opening a pipe whose instances are all taken fails with 231.",
          "docs/troubleshooting.md", "231: all instances of the pipe are in use", "error 231", "",
          Busy},
    Check{"pipes.not-listening",
          "After a disconnect an instance cannot be opened before it listens again.",
          "docs/troubleshooting.md", "231: all instances of the pipe are in use",
          "error 231; listening again: ok", "", NotListening},
    Check{"pipes.refused", "Opening a pipe whose access list names nobody fails with 5.",
          "docs/troubleshooting.md", "5: the server denies access to this user or process",
          "error 5", "ok", Refused},
    Check{"pipes.right-to-serve",
          "Generic writing asks for the right to make instances: a list without it refuses the "
          "client.",
          kSecurity, "On a pipe, generic writing includes the right to create further instances",
          "without: error 5; with: ok", "without: ok; with: ok", RightToServe},
    Check{"pipes.before-connect",
          "A client may open an instance before the server waits for it; the server then gets 535.",
          "docs/simulator.md", "`zorsim is ready` when clients can connect", "error 535", "",
          BeforeConnect},
    Check{"pipes.waiting-for",
          "Waiting for a pipe takes no instance: it succeeds for a free one, ends with 121 for a "
          "taken one and with 2 for none.",
          kDecisions, "doctor asks for a pipe by `WaitNamedPipe`",
          "free: ok; taken: error 121; absent: error 2", "", WaitingFor},
    Check{"pipes.not-inherited", "The handle of a pipe is not inherited by child processes.",
          kSecurity, "processes do not inherit the handles", "not inherited", "", NotInherited},
    Check{"pipes.impersonation",
          "Without flags the server may impersonate the client, at the level impersonation (2).",
          kSecurity, "impersonate the client at the level *impersonation*", "level 2", "",
          Impersonation},
    Check{"pipes.disconnected",
          "When the server disconnects, unread data is lost, and every operation fails with 233.",
          kDecisions, "A handle whose server has gone is abandoned",
          "peek error 233, read error 233, write error 233", "", Disconnected},
    Check{"pipes.closed",
          "When the server has closed its end, peek and read fail with 109, write with 232.",
          kDecisions, "A handle whose server has gone is abandoned",
          "peek error 109, read error 109, write error 232", "", Closed},
    Check{"pipes.closed-with-data",
          "What the server wrote before it closed can still be read, and a peek succeeds so long.",
          kDecisions, "A peek at such a pipe still succeeds",
          "write error 232, peek 10, read 10; then peek error 109, read error 109, write error 232",
          "", ClosedWithData},
    Check{"pipes.killed", "A server that is killed leaves the pipe as one that has closed it.",
          kDecisions, "A server that ends while a reply is unread keeps its client",
          "read 20; then peek error 109, read error 109, write error 232", "", Killed},
    Check{"pipes.client-disconnects",
          "DisconnectNamedPipe() fails at a client's end, and the connection stays.",
          "src/platform/pipe.h", "On a client's end this does nothing but fail",
          "error 1; then read 10", "error 50; then read 10", ClientDisconnects},
    Check{"pipes.peek-waits", "A peek waits while another thread reads from the same handle.",
          kThreading,
          "on Windows a peek, or a close, of a handle waits while another thread reads from it",
          "waits", "does not wait", PeekWaits},
    Check{"pipes.close-waits", "A close waits while another thread reads from the same handle.",
          kThreading,
          "on Windows a peek, or a close, of a handle waits while another thread reads from it",
          "waits", "does not wait", CloseWaits},
    Check{"pipes.write-waits", "A write waits until the server has room, and loses nothing.",
          kSecurity, "The pipe then fills up; the library queues nothing",
          "waits; 0 refused, 100 arrive", "", WriteWaits},
};

}  // namespace

std::span<const Check> PipeChecks() { return kChecks; }

}  // namespace zor::selftest
