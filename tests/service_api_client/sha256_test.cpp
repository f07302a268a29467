#include "service_api/client/sha256.h"

#include "service_api/client/access_request.h"

#include <gtest/gtest.h>

#include <string>

namespace Quorvel::Lumo::Api {
namespace {

TEST(Sha256, PublishedVectorsAndPaddingBoundaries) {
    const struct {
        std::string message;
        const char* digest;
    } cases[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        // 55 bytes: the length still fits the one block; 56: it needs a second.
        {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqr"
         "lmnopqrsmnopqrstnopqrstu",
         "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {std::string(1000000, 'a'),
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(Sha256Hex(each.message), each.digest) << each.message.size() << " bytes";
    }
}

TEST(AccessRecord, CarriesTheDigestOfTimeAndTextAndTheTimeButNotTheText) {
    const std::vector<std::uint8_t> record = BuildAccessRecord(1700000000, "secret");
    const std::string digest = "7d685e39fd876926a545054f826695d9085531b27bab083d8a594cc6643b389c";
    std::vector<std::uint8_t> expected = {0, 0, 0, 0, 64, 0, 0, 0};
    expected.insert(expected.end(), digest.begin(), digest.end());
    for (std::uint8_t byte : {0x00, 0xF1, 0x53, 0x65, 0x00, 0x00, 0x00, 0x00}) {
        expected.push_back(byte);  // 1700000000 as s64
    }
    EXPECT_EQ(record, expected);
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
