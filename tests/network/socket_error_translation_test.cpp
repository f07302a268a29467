#include <gtest/gtest.h>

#include "network/kx_socket_base.h"

namespace Orvane::Network {
namespace {

struct Row {
    int platformError;
    std::uint32_t code;
};

// Every platform error the table names, written out one by one.
constexpr Row kRows[] = {
    {0, 0},
    {10004, 0x10000},  // WSAEINTR
    {10009, 0x10001},  // WSAEBADF
    {10013, 0x10002},  // WSAEACCES
    {10014, 0x10003},  // WSAEFAULT
    {10022, 0x10004},  // WSAEINVAL
    {10024, 0x10005},  // WSAEMFILE
    {10035, 0x10033},  // WSAEWOULDBLOCK
    {10036, 0x10006},
    {10037, 0x10007},
    {10038, 0x10008},
    {10039, 0x10009},
    {10040, 0x1000A},
    {10041, 0x1000B},
    {10042, 0x1000C},
    {10043, 0x1000D},
    {10044, 0x1000E},
    {10045, 0x1000F},
    {10046, 0x10010},
    {10047, 0x10030},  // WSAEAFNOSUPPORT has no code of its own
    {10048, 0x10012},
    {10049, 0x10013},
    {10050, 0x10014},
    {10051, 0x10015},
    {10052, 0x10016},
    {10053, 0x10017},
    {10054, 0x10018},
    {10055, 0x10019},
    {10056, 0x1001A},
    {10057, 0x1001B},
    {10058, 0x1001C},
    {10059, 0x1001D},
    {10060, 0x1001E},
    {10061, 0x1001F},
    {10062, 0x10030},  // WSAELOOP neither
    {10063, 0x10020},
    {10064, 0x10021},
    {10065, 0x10022},
    {10066, 0x10023},
    {10067, 0x10024},
    {10068, 0x10025},
    {10069, 0x10026},
    {10070, 0x10027},
    {10071, 0x10028},
    {10093, 0x10031},  // WSANOTINITIALISED
    {10101, 0x10029},
    {10102, 0x1002A},
    {10103, 0x1002B},
    {10104, 0x1002C},
    {10105, 0x1002D},
    {10106, 0x1002E},
    {10112, 0x1002F},  // WSAEREFUSED
    // Anything else.
    {10000, 0x10030},
    {10001, 0x10030},
    {10072, 0x10030},
    {10091, 0x10030},
    {10092, 0x10030},
    {10094, 0x10030},
    {10100, 0x10030},
    {10107, 0x10030},
    {10111, 0x10030},
    {10113, 0x10030},
    {11001, 0x10030},
    {-1, 0x10030},
    {5, 0x10030},
};

TEST(TranslateError, EveryRowOfTheTable) {
    for (const auto& row : kRows) {
        EXPECT_EQ(KxSocketBase::TranslateError(row.platformError), row.code)
            << "platform error " << row.platformError;
    }
}

TEST(TranslateError, NeverProducesTheTwoUnusedCodes) {
    for (int error = -100; error < 20000; ++error) {
        const std::uint32_t code = KxSocketBase::TranslateError(error);
        ASSERT_NE(code, 0x10011u) << error;
        ASSERT_NE(code, 0x10032u) << error;
    }
}

}  // namespace
}  // namespace Orvane::Network
