// Keeps Wine up while tests run: with one process that stays, each test starts in milliseconds.
// Does nothing, until Wine itself is ended. A second one leaves at once.
#include <windows.h>

int main() {
  const HANDLE running = CreateEventW(nullptr, TRUE, TRUE, L"zor-wine-anchor");
  if (running == nullptr || GetLastError() == ERROR_ALREADY_EXISTS) return 0;
  // A desktop too: Wine starts one for every process that uses COM while there is none, and
  // without a display waits 10 s for it.
  [[maybe_unused]] const HWND desktop = GetDesktopWindow();
  Sleep(INFINITE);
}
