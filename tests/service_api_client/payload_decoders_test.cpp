#include "service_api/client/payload_decoders.h"

#include <gtest/gtest.h>

namespace Quorvel::Lumo::Api {
namespace {

TEST(FixedRecord, CannotBeMadeFromMissingBytesOrBeyondTheLargestRecord) {
    const std::uint8_t bytes[4] = {1, 2, 3, 4};
    const struct {
        const char* name;
        std::size_t recordSize;
        const std::uint8_t* payload;
        std::uint64_t payloadSize;
        bool made;
    } cases[] = {
        {"size without bytes", 400, nullptr, 4, false},
        {"large size without bytes", 400, nullptr, 4000, false},
        {"nothing at all", 400, nullptr, 0, true},
        {"short for a record larger than any", FixedRecord::kLargest + 1, bytes, 4, false},
        {"payload as long as the record", 4, bytes, 4, true},
    };
    for (const auto& each : cases) {
        const FixedRecord record(each.recordSize, each.payload, each.payloadSize);
        EXPECT_EQ(record.Data() != nullptr, each.made) << each.name;
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
