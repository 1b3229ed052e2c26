/// The library's debug lines in this process, as they are written.
#pragma once

#include <functional>
#include <string>

namespace zor::ctl {

/// Hands the lines "[zor] ..." of this process to a function, without their line ends, while the
/// object lives; a debug viewer gets them all the same. One object at a time. The function is
/// called on the thread that writes, must not throw and must not write debug output itself.
class OwnLog {
 public:
  using Take = std::function<void(const std::string& line)>;

  explicit OwnLog(Take take);
  OwnLog(const OwnLog&) = delete;
  OwnLog& operator=(const OwnLog&) = delete;
  ~OwnLog();

 private:
  void* handler_;
};

}  // namespace zor::ctl
