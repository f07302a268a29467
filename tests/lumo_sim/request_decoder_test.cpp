#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/lumo-sim/received_message.h"

namespace LumoSim {
namespace {

// The simulated service must refuse what a real one could not read, and every field the
// protocol fixes that is not what the client must send, or a wrong request would pass the
// end-to-end tests unseen. `expected` is the fields read, or why the block is refused, by a
// service whose clock reads 1 December 2026, 00:00.
TEST(RequestDecoder, RefusesWhatDoesNotFitTheIdsLayout) {
    // clang-format off
    // 6.3.0.0, a token of 1 December 00:00 under the zero key (by OpenSSL's DES), flag 1.
    std::vector<std::uint8_t> registration = {0, 0, 3, 6, 0x78, 0x2a, 0xbb, 0x85, 0x2f, 0x90, 0x9e, 0x49};
    registration.resize(272), registration[16] = 1;
    std::vector<std::uint8_t> digest = {0, 0, 0, 0, 64, 0, 0, 0};
    digest.resize(8 + 64, 'a'), digest.resize(8 + 64 + 8, 0);
    const struct {
        std::uint32_t id;
        std::uint32_t argument1;
        std::vector<std::uint8_t> payload;
        std::map<std::size_t, std::uint8_t> patch;
        std::string expected;
        std::uint64_t dwData = 0;
    } cases[] = {
        {2002, 0, std::vector<std::uint8_t>(84), {{60, 7}, {64, 1}, {80, 9}}, R"({"form":2,"a":7,"b":9})"},
        {2002, 0, std::vector<std::uint8_t>(83, 0), {}, "2002 takes 84 bytes"},
        {2007, 0, std::vector<std::uint8_t>(520, 'x'), {}, "2007's text is not terminated within 257 units"},
        {2214, 0, {0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, {}, R"({"flag":0,"value":6,"number":0.5})"},
        {2214, 0, {0, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F, 0}, {}, "1 bytes after the encoded fields"},
        {2214, 0, {1, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}, {}, "2214's leading flag is not 0"},
        {2227, 0, {9, 0, 0, 0, 0, 0, 0, 0, 0}, {}, R"({"scriptId":9,"arguments":{},"last":0})"},
        {2227, 0, {9, 0, 0, 0, 0, 0, 0, 0, 1}, {}, "2227's byte after the arguments is not 0"},
        {2227, 0, {9, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 'k', 0, 0, 0, 0, 0, 1, 0, 0, 0, 'k', 0, 0, 0, 0, 0, 0}, {}, R"(2227's argument name "k" comes twice)"},
        {2301, 0, {1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0}, {}, "2301's third field is not 0"},
        {1022, 0, digest, {}, R"({"leading":0,"digest":")" + std::string(64, 'a') + R"(","time":0})"},
        {1022, 0, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {}, "1022's digest is not 64 lowercase hex digits"},
        {1022, 0, digest, {{0x45, 'A'}}, "1022's digest is not 64 lowercase hex digits"},
        {1022, 0, digest, {{0x3C, 1}}, "1022's leading field is not 0"},
        {2204, 0, {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0x7F, 'a', 0}, {}, "the encoded fields run past the payload"},
        {2001, 0, {0}, {}, "a payload where the request carries none"},
        {2001, 5, {}, {}, "a chunk value where the request carries none"},
        {2001, 0, {}, {{8, 1}}, "argument2 is not 0"},
        {2220, 1, {}, {}, R"({"form":2})"},
        {2220, 2, {}, {}, "2220 carries 0 or 1 in the chunk"},
        {4242, 0, {}, {}, "not a request the service takes"},
        {2000, 0, registration, {}, R"({"apiVersion":100859904,"token":"782abb852f909e49","clientType":0,"flag":1})"},
        {2000, 0, registration, {{64, 0xc6}, {65, 0x52}, {66, 0xfa}, {67, 0x30}, {68, 0x83}, {69, 0xdd}, {70, 0x06}, {71, 0x98}}, R"({"apiVersion":100859904,"token":"c652fa3083dd0698","clientType":0,"flag":1})"},
        {2000, 0, registration, {{64, 0x1c}, {65, 0x60}, {66, 0xbe}, {67, 0x18}, {68, 0xd6}, {69, 0x0f}, {70, 0x3f}, {71, 0xf2}}, "the registration's token is not of this minute"},
        {100, 0, registration, {{0x3C, 1}}, "the registration's API version is not 6.3.0.0"},
        {2000, 0, registration, {{0x4C, 2}}, "the registration's flag is not 1"},
        {2000, 0, registration, {{0x4D, 1}}, "the registration has non-zero bytes after its flag"},
        {2000, 0, std::vector<std::uint8_t>(271, 0), {}, "a registration takes 272 bytes"},
        {100, 1, registration, {}, "a chunk value where the request carries none"},
        {2013, 0, {}, {{12, 27}}, "dataSize is not the payload size + 28"},
        {2013, 0, {}, {{31, 1}}, "the chunk's reserved bytes are not 0"},
        {2013, 0, {}, {{59, 1}}, "the sender block's reserved bytes are not 0"},
        {2013, 0, {}, {}, "dwData is not 0", 1},
        // clang-format on
    };
    for (const auto& each : cases) {
        // Framed as the protocol frames it (argument2 0, dataSize the payload's + 28, client
        // window 0x1234, reserved bytes 0), then with the patch bytes set.
        const auto dataSize = static_cast<std::uint32_t>(each.payload.size() + 28);
        const std::uint32_t header[15] = {each.id, each.argument1, 0, dataSize, 0, 0, 0, 0, 0x1234};
        std::vector<std::uint8_t> block(sizeof header + each.payload.size());
        std::memcpy(block.data(), header, sizeof header);  // little-endian, as on the wire
        std::copy(each.payload.begin(), each.payload.end(), block.begin() + sizeof header);
        for (const auto& [offset, value] : each.patch) {
            block[offset] = value;
        }
        LumoTools::JsonLine line;
        const auto received = DescribeReceived(line, each.dwData, block.data(), block.size(),
                                               {2026, 12, 2, 1, 0, 0, 0, 0});
        const auto read = nlohmann::ordered_json::parse(line.Text());
        EXPECT_EQ(read.value("malformed", read["request"].dump()), each.expected) << each.id;
        EXPECT_EQ(received->wellFormed, !read.contains("malformed")) << each.id;
    }
}

}  // namespace
}  // namespace LumoSim
