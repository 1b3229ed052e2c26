#include <fmt/format.h>

#include "tools/zorctl/doctor/application.h"

namespace zor::ctl {
namespace {

using fmt::format;
using State = ImageFacts::State;

Finding Make(const char* step, const char* title, Verdict verdict, std::string found,
             std::string wrong = {}, std::string advice = {}) {
  return {step, title, verdict, std::move(found), std::move(wrong), std::move(advice)};
}

/// Why a file is none that a 64-bit program can use; empty when it is one.
std::string WhyUnfit(const ImageFacts& image) {
  switch (image.state) {
    case State::kSound:
      return {};
    case State::kMissing:
      return "there is no such file";
    case State::kFolder:
      return "is a folder";
    case State::kUnreadable:
      return format("cannot be read (error {}: {})", image.error.number, image.error.text);
    case State::kNotAnImage:
      return "is no program and no library";
    case State::kTruncated:
      return "is cut off: it is shorter than its header says";
    case State::kOtherMachine:
      break;
  }
  return format("is for {}", image.machine);
}

Finding DiagnoseFile(const ApplicationFacts& application) {
  constexpr auto kStep = "application";
  if (const std::string why = WhyUnfit(application.image); !why.empty()) {
    return application.image.state == State::kOtherMachine
               ? Make(kStep, kStep, Verdict::kFault, format("{} {}", application.path, why),
                      "ZorInterface.dll is for 64-bit x86 only: the application cannot load it.",
                      "Use the application's build for 64-bit x86.")
               : Make(kStep, kStep, Verdict::kFault, format("{}: {}", application.path, why),
                      "It cannot be started.", "Name the application's program file.");
  }
  for (const MissingImport& import : application.image.missing) {
    if (import.name == "ZorInterface.dll") continue;
    return Make(kStep, kStep, Verdict::kFault,
                format("{} needs {}, which {}", import.needed_by, import.name, import.reason),
                "The application does not start.", format("Install {}.", import.name));
  }
  return Make(kStep, kStep, Verdict::kOk, format("{} is for 64-bit x86", application.path));
}

Finding DiagnoseItsLibrary(const ApplicationFacts& application) {
  constexpr auto kStep = "application_library";
  constexpr auto kTitle = "application's library";
  constexpr auto kPut = "Put ZorInterface.dll beside the application.";
  if (application.library.empty()) {
    return application.imports_library
               ? Make(kStep, kTitle, Verdict::kFault,
                      "it imports ZorInterface.dll, but the system finds none for it",
                      "The application does not start.", kPut)
               : Make(kStep, kTitle, Verdict::kWarning,
                      "it does not import ZorInterface.dll, and the system finds none for it",
                      "It can load the library only by a path of its own.", kPut);
  }
  if (const std::string why = WhyUnfit(application.library_image); !why.empty()) {
    return Make(kStep, kTitle, Verdict::kFault, format("{} {}", application.library, why),
                "The application gets this file, and cannot load it.",
                "Replace it by the ZorInterface.dll of this release.");
  }
  return Make(
      kStep, kTitle, Verdict::kOk,
      format("{} {}, version {}",
             application.imports_library ? "it imports ZorInterface.dll and gets"
                                         : "it loads none at its start, and would get",
             application.library,
             application.library_version.empty() ? "not stated" : application.library_version));
}

Finding DiagnoseItsCom(const ApplicationFacts& application) {
  constexpr auto kStep = "application_com";
  constexpr auto kTitle = "application's COM";
  if (application.imports_com) {
    return Make(kStep, kTitle, Verdict::kOk, "it imports a function that initialises COM");
  }
  return Make(kStep, kTitle, Verdict::kWarning, "it imports no function that initialises COM",
              "Unless a library of its own does so, ZorIntfEnum(2) finds no driver, and gives the "
              "server's list as it is.",
              "Have it call CoInitializeEx on the thread that lists the algorithms.");
}

}  // namespace

Findings DiagnoseApplication(const ApplicationFacts& application) {
  Findings findings{DiagnoseFile(application)};
  if (application.image.state != State::kSound) return findings;
  findings.push_back(DiagnoseItsLibrary(application));
  findings.push_back(DiagnoseItsCom(application));
  return findings;
}

}  // namespace zor::ctl
