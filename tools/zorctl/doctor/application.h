/// Looking at an application's file: whether it can use the library, and which one it would get.
#pragma once

#include <optional>
#include <string>

#include "tools/zorctl/doctor/diagnosis.h"

namespace zor::ctl {

struct ApplicationFacts {
  std::string path;
  ImageFacts image = {};
  bool imports_library = false;  ///< it is loaded with the application
  bool imports_com = false;      ///< a function that initialises COM
  std::string library = {};      ///< the file that it would get; empty when there is none
  std::string library_version = {};
  ImageFacts library_image = {};
};

/// Runs nothing of it.
[[nodiscard]] ApplicationFacts ExamineApplication(const std::string& path);

[[nodiscard]] Findings DiagnoseApplication(const ApplicationFacts& application);

}  // namespace zor::ctl
