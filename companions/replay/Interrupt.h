#pragma once

/// Ctrl+C ends the reading instead of the program, so that what is kept is
/// saved; a second one ends the program.
void CatchInterrupt();

/// Whether it was pressed. Threads: any.
bool IsInterrupted();
