// The only door to the Windows headers. Winsock 2 must come before <windows.h>, and the
// build defines UNICODE, NOMINMAX and WIN32_LEAN_AND_MEAN for every file.
#pragma once

#ifndef _WIN32
#error "platform/windows_api.h is for the Windows build only"
#endif

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <mstcpip.h>
#include <mswsock.h>
#include <windows.h>
// clang-format on
