/// ZorInterface.dll in this process.
#pragma once

#include <memory>
#include <string>

namespace zor::ctl {

/// The folder that zorctl.exe lies in.
[[nodiscard]] std::wstring ProgramFolder();

/// Loads the library that lies beside zorctl.exe and prepares the calling thread for its calls. The
/// import library loads it on first use, so that commands without a call need no library and take
/// no connection from the server; this object sees to it that the first use finds it.
class Library {
 public:
  /// Throws std::runtime_error when the library is not there.
  Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  [[nodiscard]] const std::wstring& path() const noexcept { return path_; }

  /// Of its version resource: "0.1.0"; empty when it has none.
  [[nodiscard]] std::string Version() const;

 private:
  std::wstring path_;
};

}  // namespace zor::ctl
