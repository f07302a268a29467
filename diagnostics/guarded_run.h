// The program's outermost run: a machine fault (or any other structured exception) that
// escapes it leaves a crash dump in the log folder and ends the run normally. So does a
// fault in a window's handler that the system runs inside the run (a message sent by another
// process, delivered in a wait, a pump or a send), which the system itself would drop: its
// dump shows the faulting frames, and the run ends at the call that let the message in.
#pragma once

// Runs body(context) under the guard. C++ exceptions work inside and leave as usual.
void RunGuarded(void (*body)(void*), void* context);
