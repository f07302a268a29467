#include "tools/lumo-sim/request_decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace LumoSim {
namespace {

// The simulated service must refuse what a real one could not read, and every constant
// field that is not what the client must send, or a wrong request would pass the
// end-to-end tests unseen. `expected` is the fields read, or why the request is refused.
TEST(RequestDecoder, RefusesWhatDoesNotFitTheIdsLayout) {
    std::vector<std::uint8_t> form2(84, 0);
    form2[0] = 7;
    form2[4] = 1;
    form2[20] = 9;
    std::vector<std::uint8_t> unterminated(520, 'x');
    const std::vector<std::uint8_t> half{0, 0, 0, 0, 0, 0, 0xE0, 0x3F};  // the double 0.5
    const struct {
        std::uint32_t id;
        std::uint32_t chunkValue;
        std::vector<std::uint8_t> payload;
        std::string expected;
    } cases[] = {
        // clang-format off
        {2002, 0, form2, R"({"form":2,"a":7,"b":9})"},
        {2002, 0, std::vector<std::uint8_t>(83, 0), "2002 takes 84 bytes"},
        {2007, 0, unterminated, "2007's text is not terminated within 257 units"},
        {2214, 0, {0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, R"({"flag":0,"value":6,"number":0.5})"},
        {2214, 0, {0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F, 0}, "1 bytes after the encoded fields"},
        {2214, 0, {1, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, "2214's leading flag is not 0"},
        {2227, 0, {9, 0, 0, 0, 0, 0, 0, 0, 0}, R"({"scriptId":9,"arguments":{},"last":0})"},
        {2227, 0, {9, 0, 0, 0, 0, 0, 0, 0, 1}, "2227's byte after the arguments is not 0"},
        {2227, 0, {9, 0, 0, 0, 0, 0, 0, 0, 0, 0}, "1 bytes after the encoded fields"},
        {2301, 0, {1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0}, "2301's third field is not 0"},
        {1022, 0, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, "1022's leading field is not 0"},
        {2204, 0, {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F, 'a', 0}, "the encoded fields run past the payload"},
        {2013, 0, {0}, "a payload where the request carries none"},
        {2013, 5, {}, "a chunk value where the request carries none"},
        {2220, 1, {}, R"({"form":2})"},
        {2220, 2, {}, "2220 carries 0 or 1 in the chunk"},
        {4242, 0, {}, "not a request the service takes"},
        // clang-format on
    };
    for (const auto& each : cases) {
        LumoTools::JsonLine fields;
        const auto malformed = DescribeRequest(fields, each.id, each.chunkValue,
                                               each.payload.data(), each.payload.size());
        EXPECT_EQ(malformed.value_or(fields.Text()), each.expected) << each.id;
    }
}

}  // namespace
}  // namespace LumoSim
