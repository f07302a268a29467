// A hidden top-level window that another process finds by its title: the window of a bench
// program that a sender or the simulated service sends its blocks to.
#pragma once

#include "platform/windows_api.h"

namespace LumoTools {

// Registers `className` for `procedure` and creates the window; nullptr when that fails.
HWND CreateTitledWindow(const wchar_t* className, const wchar_t* title, WNDPROC procedure);

}  // namespace LumoTools
