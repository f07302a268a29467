// Building and sending one announcement datagram to 127.0.0.1 against a raw sendto of the
// same bytes on a socket of its own.
#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "announce/dds_announcement.h"
#include "bench/taking_turns.h"

namespace {

DdsInstrumentInfo Instrument() {
    DdsInstrumentInfo info{};
    std::strcpy(info.model, "Zento");
    std::strcpy(info.name, "Simulator");
    std::strcpy(info.version1, "2.1");
    std::strcpy(info.version2, "1.0");
    info.intervalMs = 2000;
    return info;
}

void AnnounceBuildAndSend(benchmark::State& state) {
    DdsAnnouncement announcement(true, true);
    const DdsInstrumentInfo info = Instrument();
    announcement.Announce(info);
    for (auto _ : state) {
        announcement.BuildContents(info);
        if (announcement.SendToLoopback() != 0) {
            state.SkipWithError("send failed");
            break;
        }
    }
}
BENCHMARK(AnnounceBuildAndSend);

// A whole Announce: it also switches its socket to non-blocking again, one more system call.
void AnnounceWithItsModeSwitch(benchmark::State& state) {
    DdsAnnouncement announcement(true, true);
    const DdsInstrumentInfo info = Instrument();
    for (auto _ : state) {
        if (announcement.Announce(info) != 0) {
            state.SkipWithError("announce failed");
            break;
        }
    }
}
BENCHMARK(AnnounceWithItsModeSwitch);

// The same bytes as an announcement's, sent on the same kind of socket as the announcer's
// (non-blocking, sent on without signals), with nothing around the system call.
class RawSender {
  public:
    RawSender()
        : m_announcement(true, false), m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
        m_announcement.Announce(Instrument());
        m_to.sin_family = AF_INET;
        m_to.sin_port = htons(50999);
        m_to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~RawSender() { close(m_socket); }
    bool Send() const {
        return sendto(m_socket, m_announcement.Packet(), m_announcement.SendLength(), MSG_NOSIGNAL,
                      reinterpret_cast<const sockaddr*>(&m_to), sizeof m_to) >= 0;
    }

  private:
    DdsAnnouncement m_announcement;
    const int m_socket;
    sockaddr_in m_to{};
};

void RawSendtoOfTheSameBytes(benchmark::State& state) {
    const RawSender raw;
    for (auto _ : state) {
        if (!raw.Send()) {
            state.SkipWithError("sendto failed");
            break;
        }
    }
}
BENCHMARK(RawSendtoOfTheSameBytes);

// The announcer's build and send against its floor, the build alone and the raw send, in turns.
void AnnounceTakingTurnsWithItsFloor(benchmark::State& state) {
    DdsAnnouncement announcement(true, true), built(true, false);
    const DdsInstrumentInfo info = Instrument();
    announcement.Announce(info);
    const RawSender raw;
    bool sent = true;
    TakeTurns(state, {{"announce",
                       [&] {
                           announcement.BuildContents(info);
                           sent = sent && announcement.SendToLoopback() == 0;
                       }},
                      {"build", [&] { built.BuildContents(info); }},
                      {"sendto", [&] { sent = sent && raw.Send(); }}});
    if (!sent) {
        state.SkipWithError("a send failed");
    }
}
BENCHMARK(AnnounceTakingTurnsWithItsFloor);

void AnnounceBuildOnly(benchmark::State& state) {
    DdsAnnouncement announcement(true, false);
    const DdsInstrumentInfo info = Instrument();
    for (auto _ : state) {
        announcement.BuildContents(info);
    }
}
BENCHMARK(AnnounceBuildOnly);

void AnnounceSendOnly(benchmark::State& state) {
    DdsAnnouncement announcement(true, true);
    announcement.Announce(Instrument());
    for (auto _ : state) {
        announcement.SendToLoopback();
    }
}
BENCHMARK(AnnounceSendOnly);

}  // namespace
