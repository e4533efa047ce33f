#include "replay/Interrupt.h"

#include <atomic>
#include <windows.h>

namespace
{

std::atomic<bool> g_interrupted{false};

BOOL WINAPI OnControl(DWORD event)
{
    // What is not handled here ends the program.
    return event == CTRL_C_EVENT && !g_interrupted.exchange(true);
}

} // namespace

void CatchInterrupt()
{
    SetConsoleCtrlHandler(OnControl, TRUE);
}

bool IsInterrupted()
{
    return g_interrupted.load();
}
