#include "tools/lumo-sim/request_decoder.h"

#include <gtest/gtest.h>

#include <vector>

namespace LumoSim {
namespace {

// The simulated service must refuse what a real one could not read, or a wrong request
// would pass the end-to-end tests unseen.
TEST(RequestDecoder, RefusesWhatDoesNotFitTheIdsLayout) {
    std::vector<std::uint8_t> form2(84, 0);
    form2[0] = 7;
    form2[4] = 1;
    form2[20] = 9;
    std::vector<std::uint8_t> unterminated(520, 0);
    for (std::size_t i = 4; i < 520; ++i) {
        unterminated[i] = 'x';
    }
    const struct {
        std::uint32_t id;
        std::uint32_t chunkValue;
        std::vector<std::uint8_t> payload;
        const char* fields;  // when well formed
    } cases[] = {
        {2002, 0, form2, R"({"form":2,"a":7,"b":9})"},
        {2002, 0, std::vector<std::uint8_t>(83, 0), nullptr},
        {2007, 0, unterminated, nullptr},
        {2214,
         0,
         {0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F},
         R"({"flag":0,"value":6,"number":0.5})"},
        {2214, 0, {0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F, 0}, nullptr},
        {2204, 0, {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F, 'a', 0}, nullptr},
        {2013, 0, {0}, nullptr},
        {2013, 5, {}, nullptr},
        {2220, 1, {}, R"({"form":2})"},
        {2220, 2, {}, nullptr},
        {4242, 0, {}, nullptr},
    };
    for (const auto& each : cases) {
        LumoTools::JsonLine fields;
        const auto malformed = DescribeRequest(fields, each.id, each.chunkValue,
                                               each.payload.data(), each.payload.size());
        if (each.fields != nullptr) {
            EXPECT_FALSE(malformed.has_value()) << each.id << ": " << malformed.value_or("");
            EXPECT_EQ(fields.Text(), each.fields) << each.id;
        } else {
            EXPECT_TRUE(malformed.has_value()) << each.id << " " << fields.Text();
        }
    }
}

}  // namespace
}  // namespace LumoSim
