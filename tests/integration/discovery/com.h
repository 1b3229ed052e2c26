/// COM on this thread, as an application has it.
#pragma once

#include <objbase.h>
#include <windows.h>

namespace zor::testing {

class Com {
 public:
  Com() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  Com(const Com&) = delete;
  Com& operator=(const Com&) = delete;
  ~Com() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }

 private:
  HRESULT result_;
};

}  // namespace zor::testing
