#include <gtest/gtest.h>

#include "network/kx_socket_base.h"

namespace Orvane::Network {
namespace {

// The ranges' edges and the errors that fall between them: a shifted range or a missed
// gap shows here.
TEST(TranslateError, RangeEdgesGapsAndUnknownErrors) {
    const struct {
        int platformError;
        std::uint32_t code;
    } rows[] = {
        {0, 0},           {10004, 0x10000}, {10022, 0x10004}, {10035, 0x10033}, {10036, 0x10006},
        {10046, 0x10010}, {10047, 0x10030}, {10048, 0x10012}, {10051, 0x10015}, {10061, 0x1001F},
        {10062, 0x10030}, {10063, 0x10020}, {10071, 0x10028}, {10072, 0x10030}, {10093, 0x10031},
        {10101, 0x10029}, {10106, 0x1002E}, {10107, 0x10030}, {10112, 0x1002F}, {-1, 0x10030},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(KxSocketBase::TranslateError(row.platformError), row.code)
            << "platform error " << row.platformError;
    }
    for (int error = -100; error < 20000; ++error) {
        const std::uint32_t code = KxSocketBase::TranslateError(error);
        ASSERT_TRUE(code != 0x10011u && code != 0x10032u) << error;
    }
}

}  // namespace
}  // namespace Orvane::Network
