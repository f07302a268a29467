// Linux build only: the one place where errno values become Windows Sockets error numbers,
// so that everything above the socket system sees one numbering.
#pragma once

namespace Orvane::Network {

// An errno value without a Winsock counterpart is returned unchanged: every such value is
// below 10000 and so reads as an unknown platform error.
int WinsockErrorFromErrno(int error);

}  // namespace Orvane::Network
