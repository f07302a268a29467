// The command line of dds-listen.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/dds-listen/lib/listen_output.h"

namespace DdsListen {

inline constexpr const char* kMulticastGroup = "224.192.168.224";

struct ListenOptions {
    std::string address = "127.0.0.1";
    unsigned short port = 50999;
    std::string multicastInterface;  // empty: no multicast
    OutputFormat format = OutputFormat::Text;
    std::optional<std::uint64_t> count;    // end after this many datagrams
    std::optional<std::uint64_t> seconds;  // end after this long
    bool help = false;
};

struct ParsedOptions {
    std::optional<ListenOptions> options;
    std::string error;
};

// `arguments` without the program name.
ParsedOptions ParseListenOptions(const std::vector<std::string>& arguments);

std::string ListenUsage();

}  // namespace DdsListen
