#include "tools/zorctl/doctor/step.h"

#include <fmt/format.h>

namespace zor::ctl {
namespace {

using fmt::format;

/// Why the file cannot be used, by its header.
Finding DiagnoseImage(const LibraryFacts& library) {
  constexpr auto kNoCall = "No call can be made.";
  constexpr auto kReplace = "Replace the file by the ZorInterface.dll of zorctl's own release.";
  const ImageFacts& image = library.image;
  const std::string& path = library.path;
  switch (image.state) {
    case ImageFacts::State::kMissing:
      return kLibrary.Fault(format("{}: there is no such file", path), kNoCall,
                            "Put ZorInterface.dll beside zorctl.exe, and beside the application.");
    case ImageFacts::State::kFolder:
      return kLibrary.Fault(format("{} is a folder", path), kNoCall,
                            "Remove the folder, and put the file ZorInterface.dll in its place.");
    case ImageFacts::State::kUnreadable:
      return kLibrary.Fault(format("{} cannot be read ({})", path, ToText(image.error)), kNoCall,
                            image.error.number == kAccessDenied
                                ? "Give this user the right to read and execute the file."
                                : "Close the programs that hold the file, and copy it anew.");
    case ImageFacts::State::kNotAnImage:
      return kLibrary.Fault(format("{} is no library: it has no header of one", path), kNoCall,
                            kReplace);
    case ImageFacts::State::kTruncated:
      return kLibrary.Fault(format("{} is cut off: it is shorter than its header says", path),
                            kNoCall, kReplace);
    case ImageFacts::State::kOtherMachine:
      return kLibrary.Fault(format("{} is for {}", path, image.machine),
                            "zorctl and the library are programs for 64-bit x86.", kReplace);
    case ImageFacts::State::kSound:
      break;
  }
  const MissingImport& import = image.missing.front();
  return kLibrary.Fault(format("{} cannot be loaded: {}, which {} needs, {}", path, import.name,
                               import.needed_by, import.reason),
                        kNoCall, format("Install {}.", import.name));
}

}  // namespace

Findings DiagnoseProcess(const Facts& facts) {
  if (!facts.process) return {};
  const ProcessFacts& process = *facts.process;
  return {kProcess.Ok(format("user {}, {}elevated, session {}, {}", process.user,
                             process.elevated ? "" : "not ", process.session, process.system))};
}

Findings DiagnoseLibrary(const Facts& facts) {
  const LibraryFacts& library = facts.library;
  if (library.image.state != ImageFacts::State::kSound || !library.image.missing.empty()) {
    return {DiagnoseImage(library)};
  }
  constexpr auto kReplace = "Replace the file by the ZorInterface.dll of zorctl's own release.";
  if (!library.end.ok()) {
    return {Unreported(kLibrary, library.end, format("loading {}", library.path),
                       "An application hangs or ends in the same way.", kReplace)};
  }
  if (!library.error.empty()) {
    return {kLibrary.Fault(
        library.error, "No call can be made.",
        library.missing ? "Put ZorInterface.dll beside zorctl.exe, and beside the application."
                        : kReplace)};
  }
  return {kLibrary.Ok(format("{}, version {}", library.path, library.version))};
}

bool IsUsable(const LibraryFacts& library) {
  return library.image.state == ImageFacts::State::kSound && library.end.ok() &&
         library.error.empty() && library.image.missing.empty();
}

}  // namespace zor::ctl
