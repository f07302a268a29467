// Platform socket error numbers that the portable code names. The numbering is the
// Windows Sockets one on every platform: the Linux backend maps errno onto it.
#pragma once

namespace Orvane::Network::WinsockError {

inline constexpr int kInterrupted = 10004;          // WSAEINTR
inline constexpr int kBadHandle = 10009;            // WSAEBADF
inline constexpr int kAccessDenied = 10013;         // WSAEACCES
inline constexpr int kFault = 10014;                // WSAEFAULT
inline constexpr int kInvalidArgument = 10022;      // WSAEINVAL
inline constexpr int kTooManySockets = 10024;       // WSAEMFILE
inline constexpr int kWouldBlock = 10035;           // WSAEWOULDBLOCK
inline constexpr int kInProgress = 10036;           // WSAEINPROGRESS
inline constexpr int kAlready = 10037;              // WSAEALREADY
inline constexpr int kNotASocket = 10038;           // WSAENOTSOCK
inline constexpr int kMessageTooLong = 10040;       // WSAEMSGSIZE
inline constexpr int kNoProtocolOption = 10042;     // WSAENOPROTOOPT
inline constexpr int kNotSupported = 10045;         // WSAEOPNOTSUPP
inline constexpr int kFamilyNotSupported = 10047;   // WSAEAFNOSUPPORT
inline constexpr int kAddressInUse = 10048;         // WSAEADDRINUSE
inline constexpr int kAddressNotAvailable = 10049;  // WSAEADDRNOTAVAIL
inline constexpr int kNetworkDown = 10050;          // WSAENETDOWN
inline constexpr int kNetworkUnreachable = 10051;   // WSAENETUNREACH
inline constexpr int kConnectionReset = 10054;      // WSAECONNRESET
inline constexpr int kNoBuffers = 10055;            // WSAENOBUFS
inline constexpr int kNotConnected = 10057;         // WSAENOTCONN
inline constexpr int kShutDown = 10058;             // WSAESHUTDOWN
inline constexpr int kTimedOut = 10060;             // WSAETIMEDOUT
inline constexpr int kConnectionRefused = 10061;    // WSAECONNREFUSED
inline constexpr int kProcessLimit = 10067;         // WSAEPROCLIM
inline constexpr int kSystemNotReady = 10091;       // WSASYSNOTREADY
inline constexpr int kVersionNotSupported = 10092;  // WSAVERNOTSUPPORTED
inline constexpr int kNotInitialised = 10093;       // WSANOTINITIALISED
inline constexpr int kHostNotFound = 11001;         // WSAHOST_NOT_FOUND
inline constexpr int kTryAgain = 11002;             // WSATRY_AGAIN

}  // namespace Orvane::Network::WinsockError
