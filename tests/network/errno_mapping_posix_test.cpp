#include <gtest/gtest.h>

#include <cerrno>

#include "network/errno_mapping.h"
#include "network/kx_socket_base.h"

namespace Orvane::Network {
namespace {

// The Linux errors a datagram sender meets, and the library code each must end up as:
// the same code the Windows build gives for the same condition; an error without a
// counterpart passes unchanged and reads as unknown.
TEST(ErrnoMapping, LinuxErrorsEndAsTheWindowsCodes) {
    struct Case {
        int errnoValue;
        int winsockError;
        std::uint32_t code;
    } const cases[] = {
        {ENETUNREACH, 10051, 0x10015},  {ECONNRESET, 10054, 0x10018},
        {EAGAIN, 10035, 0x10033},       {EWOULDBLOCK, 10035, 0x10033},
        {EINTR, 10004, 0x10000},        {EBADF, 10009, 0x10001},
        {EACCES, 10013, 0x10002},       {EPERM, 10013, 0x10002},
        {EFAULT, 10014, 0x10003},       {EINVAL, 10022, 0x10004},
        {EMFILE, 10024, 0x10005},       {EINPROGRESS, 10036, 0x10006},
        {ENOTSOCK, 10038, 0x10008},     {EMSGSIZE, 10040, 0x1000A},
        {EOPNOTSUPP, 10045, 0x1000F},   {EAFNOSUPPORT, 10047, 0x10030},
        {EADDRINUSE, 10048, 0x10012},   {EADDRNOTAVAIL, 10049, 0x10013},
        {ENETDOWN, 10050, 0x10014},     {ENOBUFS, 10055, 0x10019},
        {ENOTCONN, 10057, 0x1001B},     {ETIMEDOUT, 10060, 0x1001E},
        {ECONNREFUSED, 10061, 0x1001F}, {ELOOP, 10062, 0x10030},
        {EHOSTUNREACH, 10065, 0x10022}, {EREMOTE, 10071, 0x10028},
        {ENOENT, ENOENT, 0x10030},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(WinsockErrorFromErrno(c.errnoValue), c.winsockError) << c.errnoValue;
        EXPECT_EQ(KxSocketBase::TranslateError(WinsockErrorFromErrno(c.errnoValue)), c.code)
            << c.errnoValue;
    }
}

}  // namespace
}  // namespace Orvane::Network
