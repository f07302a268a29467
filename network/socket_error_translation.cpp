#include "network/kx_socket_base.h"

#include "network/socket_results.h"

namespace Orvane::Network {
namespace {

struct ErrorRange {
    int first;
    int last;
    std::uint32_t firstCode;
};

// Consecutive platform errors that map onto consecutive codes. The gaps between the
// ranges (10047, 10062) fall through to the code for an unknown error.
constexpr ErrorRange kRanges[] = {
    {10004, 10004, 0x10000}, {10009, 10009, 0x10001}, {10013, 10014, 0x10002},
    {10022, 10022, 0x10004}, {10024, 10024, 0x10005}, {10035, 10035, 0x10033},
    {10036, 10046, 0x10006}, {10048, 10061, 0x10012}, {10063, 10071, 0x10020},
    {10093, 10093, 0x10031}, {10101, 10106, 0x10029}, {10112, 10112, 0x1002F},
};

}  // namespace

std::uint32_t KxSocketBase::TranslateError(int platformError) {
    if (platformError == 0) {
        return 0;
    }
    for (const auto& range : kRanges) {
        if (platformError >= range.first && platformError <= range.last) {
            return range.firstCode + static_cast<std::uint32_t>(platformError - range.first);
        }
    }
    return SocketResult::kUnknownPlatformError;
}

}  // namespace Orvane::Network
