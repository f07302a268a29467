#include "tools/dds-listen/lib/listen_options.h"

#include <charconv>

namespace DdsListen {
namespace {

std::optional<std::uint64_t> Number(const std::string& text, std::uint64_t largest) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
        value > largest) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

std::string ListenUsage() {
    return "usage: dds-listen [options]\n"
           "Prints every announcement datagram that arrives, one line each, and tells when an\n"
           "announcer stays silent for more than 1.5 of its announced intervals (1024\n"
           "announcers at most are watched at a time).\n"
           "\n"
           "  --address A     listen on address A (default 127.0.0.1)\n"
           "  --port P        listen on port P (default 50999)\n"
           "  --multicast IF  also join 224.192.168.224 on the local interface with address IF\n"
           "                  (listens on every address then)\n"
           "  --json          print one JSON object per line\n"
           "  --count N       end after N datagrams\n"
           "  --seconds S     end after S seconds\n"
           "  --help          show this text\n"
           "  --version       show the version\n";
}

ParsedOptions ParseListenOptions(const std::vector<std::string>& arguments) {
    ListenOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& option = arguments[i];
        if (option == "--help" || option == "-h") {
            options.help = true;
            continue;
        }
        if (option == "--json") {
            options.format = OutputFormat::Json;
            continue;
        }
        const bool takesValue = option == "--address" || option == "--port" ||
                                option == "--multicast" || option == "--count" ||
                                option == "--seconds";
        if (!takesValue) {
            return {std::nullopt, "unknown option " + option};
        }
        if (i + 1 == arguments.size()) {
            return {std::nullopt, option + " needs a value"};
        }
        const std::string& value = arguments[++i];
        if (option == "--address") {
            options.address = value;
        } else if (option == "--multicast") {
            options.multicastInterface = value;
        } else if (option == "--port") {
            const auto port = Number(value, 65535);
            if (!port || *port == 0) {
                return {std::nullopt, "--port needs a number from 1 to 65535"};
            }
            options.port = static_cast<unsigned short>(*port);
        } else {
            const auto number = Number(value, UINT32_MAX);
            if (!number || *number == 0) {
                return {std::nullopt, option + " needs a positive number"};
            }
            (option == "--count" ? options.count : options.seconds) = number;
        }
    }
    if (!options.multicastInterface.empty()) {
        options.address = "0.0.0.0";
    }
    return {options, {}};
}

}  // namespace DdsListen
