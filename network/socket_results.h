// The socket library's result codes. 0 is success; platform errors are translated into
// 0x10000 to 0x10033 (KxSocketBase::TranslateError); the codes below are the library's own.
#pragma once

#include <cstdint>

namespace Orvane::Network::SocketResult {

inline constexpr std::uint32_t kOk = 0;

inline constexpr std::uint32_t kNetworkUnreachable = 0x10015;  // translated WSAENETUNREACH
inline constexpr std::uint32_t kConnectionReset = 0x10018;     // translated WSAECONNRESET
inline constexpr std::uint32_t kUnknownPlatformError = 0x10030;
inline constexpr std::uint32_t kWouldBlock = 0x10033;

inline constexpr std::uint32_t kStartupSystemNotReady = 0x1003D;
inline constexpr std::uint32_t kStartupVersionNotSupported = 0x1003E;
inline constexpr std::uint32_t kStartupInProgress = 0x1003F;
inline constexpr std::uint32_t kStartupProcessLimit = 0x10040;
inline constexpr std::uint32_t kStartupFault = 0x10041;
inline constexpr std::uint32_t kStartupFailed = 0x10042;
inline constexpr std::uint32_t kStartupWrongVersion = 0x10043;
inline constexpr std::uint32_t kBlockingModeNotChanged = 0x10046;
inline constexpr std::uint32_t kOptionNotSet = 0x10047;
inline constexpr std::uint32_t kHostLookupFailed = 0x10048;
inline constexpr std::uint32_t kHostHasNoAddress = 0x1004D;
inline constexpr std::uint32_t kCreateOrConnectFailed = 0x10052;
inline constexpr std::uint32_t kBindOrListenFailed = 0x10054;
inline constexpr std::uint32_t kAlreadyOpen = 0x10055;
inline constexpr std::uint32_t kAcceptFailed = 0x10056;
inline constexpr std::uint32_t kSendFailed = 0x10057;
inline constexpr std::uint32_t kWaitReadableOrErrorFailed = 0x10059;
inline constexpr std::uint32_t kConnectTimedOut = 0x1005A;
inline constexpr std::uint32_t kWaitReadableFailed = 0x1005B;
inline constexpr std::uint32_t kNoEventObject = 0x1005C;
inline constexpr std::uint32_t kNotMulticastGroup = 0x1005D;
inline constexpr std::uint32_t kInterfaceNotLocal = 0x1005E;
inline constexpr std::uint32_t kOutOfMemory = 0x1005F;

}  // namespace Orvane::Network::SocketResult
