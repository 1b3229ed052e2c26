// Keeps Wine up while tests run: with one process that stays, each test starts in milliseconds.
// Does nothing, until Wine itself is ended. A second one leaves at once.
#include <windows.h>

int main() {
  const HANDLE running = CreateEventW(nullptr, TRUE, TRUE, L"zor-wine-anchor");
  if (running == nullptr || GetLastError() == ERROR_ALREADY_EXISTS) return 0;
  Sleep(INFINITE);
}
