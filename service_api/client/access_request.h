// The access request (1022): the caller proves it knows a text without sending it. Only
// the SHA-256 of "t:text" and the time t travel; the text itself is neither kept nor sent.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace Quorvel::Lumo::Api {

// The serialized access record: u32 0, the digest as a narrow string of 64 lowercase
// hexadecimal digits, then `calendarTime` (seconds since 1970-01-01 UTC) as s64.
std::vector<std::uint8_t> BuildAccessRecord(std::int64_t calendarTime, std::string_view text);

}  // namespace Quorvel::Lumo::Api
