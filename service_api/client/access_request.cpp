#include "service_api/client/access_request.h"

#include "lumo/api/archive.h"
#include "service_api/client/sha256.h"

#include <string>

namespace Quorvel::Lumo::Api {

std::vector<std::uint8_t> BuildAccessRecord(std::int64_t calendarTime, std::string_view text) {
    std::string proof = std::to_string(calendarTime);
    proof += ':';
    proof += text;
    const std::string digest = Sha256Hex(proof);
    OutputArchive archive;
    archive(std::uint32_t{0}, digest, calendarTime);
    return archive.Finish();
}

}  // namespace Quorvel::Lumo::Api
