/// @file
/// A service message whose record layout belongs to the service, as the callbacks receive
/// it.
#pragma once

#include "lumo/api/chunk.h"

#include <cstdint>
#include <vector>

namespace Quorvel::Lumo::Api {

/// A service message whose record the library does not decode: its chunk header and a copy
/// of its payload, for an application that knows the layout to read with the payload
/// archive (InputArchive). It lives only during the callback that receives it.
struct ServiceRecord {
    sLUMOChunk header;                  ///< as received; argument2 of a reply is the verdict
    std::vector<std::uint8_t> payload;  ///< everything after the chunk header
};

}  // namespace Quorvel::Lumo::Api
