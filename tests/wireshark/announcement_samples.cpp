// Prints datagrams made by the announcement builder, one "label hex" line each: a valid
// announcement and its withdrawal, then the same bytes broken the ways a listener must
// notice. The dissector test wraps them into a capture.
#include <cstdio>
#include <cstring>
#include <string>

#include "announce/announcement_datagram.h"
#include "tests/announce/example_instrument.h"

namespace {

void Print(const char* label, const unsigned char* bytes, std::size_t size) {
    std::printf("%s ", label);
    for (std::size_t i = 0; i < size; ++i) {
        std::printf("%02x", bytes[i]);
    }
    std::printf("\n");
}

}  // namespace

int main() {
    DdsInstrumentInfo info = ExampleInstrument();
    std::strcpy(info.model, "Zento S");
    AnnouncementDatagram::Buffer packet;
    const std::uint32_t size = AnnouncementDatagram::Build(info, packet);
    AnnouncementDatagram::SetMessageType(packet, AnnouncementDatagram::kAnnounce);
    Print("announce", packet, size);
    AnnouncementDatagram::SetMessageType(packet, AnnouncementDatagram::kWithdraw);
    Print("withdraw", packet, size);
    AnnouncementDatagram::SetMessageType(packet, 4242);
    Print("unknown-type", packet, size);
    AnnouncementDatagram::SetMessageType(packet, AnnouncementDatagram::kAnnounce);
    // The last zero byte lost: the length fields disagree and the closing zero is missing.
    Print("cut-closing-zero", packet, size - 1);
    // Cut inside the name: no terminator for it, nothing after it.
    Print("cut-in-name", packet, AnnouncementDatagram::kHeaderSize + 10);
    Print("header-only", packet, 10);
    return 0;
}
