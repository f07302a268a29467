// dds-listen's reading of a datagram from the network: any bytes, any size.
#include <cstddef>
#include <cstdint>

#include "tools/dds-listen/lib/announcement_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const DdsListen::DecodeResult decoded = DdsListen::DecodeAnnouncement(data, size);
    if (decoded.announcement) {
        decoded.announcement->IntervalMs();
    }
    return 0;
}
