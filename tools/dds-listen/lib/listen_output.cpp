#include "tools/dds-listen/lib/listen_output.h"

#include <cstdio>

#include "tools/common/json_line.h"

namespace DdsListen {
namespace {

using LumoTools::JsonLine;

// Length of the well-formed UTF-8 sequence starting at `at` (2 to 4), or 0.
std::size_t Utf8SequenceLength(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    std::size_t length;
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;   // no overlong forms
        high = lead == 0xED ? 0x9F : 0xBF;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;  // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (at + length > text.size() || byte(at + 1) < low || byte(at + 1) > high) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (byte(at + i) < 0x80 || byte(at + i) > 0xBF) {
            return 0;
        }
    }
    return length;
}

std::string Hex(const char* pattern, unsigned char value) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, pattern, value);
    return buffer;
}

std::string Quoted(const std::string& text) {
    return "\"" + Escaped(text) + "\"";
}

const char* EventName(const Announcement& announcement) {
    return announcement.IsWithdrawal() ? "withdraw" : "announce";
}

}  // namespace

std::string Escaped(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == '"' || byte == '\\') {
            out += '\\';
            out += static_cast<char>(byte);
            ++i;
        } else if (byte >= 0x20 && byte < 0x7F) {
            out += static_cast<char>(byte);
            ++i;
        } else if (const std::size_t length = byte >= 0x80 ? Utf8SequenceLength(text, i) : 0;
                   length > 0) {
            out.append(text, i, length);
            i += length;
        } else {
            out += Hex("\\x%02x", byte);
            ++i;
        }
    }
    return out;
}

std::string DatagramLine(OutputFormat format, const std::string& source, std::size_t size,
                         const DecodeResult& decoded, std::int64_t clockUs) {
    if (!decoded.announcement) {
        if (format == OutputFormat::Json) {
            return JsonLine()
                .Add("source", source)
                .Add("event", "malformed")
                .Add("size", size)
                .Add("reason", decoded.problem)
                .Text();
        }
        return source + " malformed (" + std::to_string(size) + " bytes): " + decoded.problem;
    }
    const Announcement& announcement = *decoded.announcement;
    if (format == OutputFormat::Json) {
        JsonLine line;
        line.Add("source", source)
            .Add("event", EventName(announcement))
            .Add("sequence", announcement.sequence)
            .Add("clockUs", clockUs);
        for (std::size_t i = 0; i < kTextCount; ++i) {
            line.Add(kTextNames[i], announcement.texts[i]);
        }
        return line.Text();
    }
    std::string line =
        source + " " + EventName(announcement) + " seq=" + std::to_string(announcement.sequence);
    for (std::size_t i = 0; i < kTextCount; ++i) {
        line += " " + std::string(kTextNames[i]) + "=" + Quoted(announcement.texts[i]);
    }
    return line;
}

std::string LivenessLine(OutputFormat format, const LivenessEvent& event) {
    const bool overdue = event.kind == LivenessEvent::Kind::Overdue;
    if (format == OutputFormat::Json) {
        return JsonLine()
            .Add("source", event.source)
            .Add("event", overdue ? "overdue" : "back")
            .Add("silentMs", event.silentMs)
            .Add("intervalMs", event.intervalMs)
            .Text();
    }
    const std::string silent = std::to_string(event.silentMs);
    if (overdue) {
        return event.source + " overdue: silent for " + silent + " ms, interval " +
               std::to_string(event.intervalMs) + " ms";
    }
    return event.source + " back after " + silent + " ms of silence";
}

}  // namespace DdsListen
