/// ZorInterface.dll in this process.
#pragma once

#include <stdexcept>
#include <string>

namespace zor::ctl {

/// The library cannot be used; the text names its file.
class LibraryError : public std::runtime_error {
 public:
  LibraryError(const std::string& text, bool no_file)
      : std::runtime_error(text), missing(no_file) {}

  bool missing;  ///< there is no such file
};

/// Loads the library that lies beside zorctl.exe, with all of its functions, and prepares the
/// calling thread for its calls. Without this object a call may not be made: commands without one
/// need no library, and take no connection from the server.
class Library {
 public:
  /// Throws LibraryError.
  Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library();

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

  /// Of its version resource: "0.1.0".
  [[nodiscard]] const std::string& version() const noexcept { return version_; }

 private:
  std::string path_;
  std::string version_;
};

}  // namespace zor::ctl
