// The program's outermost run: a machine fault (or any other structured exception) that
// escapes it leaves a crash dump in the log folder and ends the run normally.
#pragma once

// Runs body(context) under the guard. C++ exceptions work inside and leave as usual.
void RunGuarded(void (*body)(void*), void* context);
