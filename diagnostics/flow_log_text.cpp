#include "diagnostics/flow_log_text.h"

#include <charconv>
#include <cstdio>

void AppendRelativeTime(std::string& out, std::int64_t ticks, std::int64_t frequency) {
    // A frequency is never below one on a real counter; keep a broken one from dividing by 0.
    const auto perSecond = static_cast<std::uint64_t>(frequency > 0 ? frequency : 1);
    const bool negative = ticks < 0;
    // Unsigned negation keeps the magnitude of the most negative value exact.
    const std::uint64_t magnitude =
        negative ? 0 - static_cast<std::uint64_t>(ticks) : static_cast<std::uint64_t>(ticks);
    const std::uint64_t seconds = magnitude / perSecond;
    // The remainder is below the frequency, so times 10^6 stays far inside 64 bits for any
    // counter up to 18 THz.
    const std::uint64_t microseconds = magnitude % perSecond * 1000000 / perSecond;
    char text[48];
    const int length = std::snprintf(text, sizeof text, "%s%llu.%06llu", negative ? "-" : "",
                                     static_cast<unsigned long long>(seconds),
                                     static_cast<unsigned long long>(microseconds));
    out.append(text, static_cast<std::size_t>(length));
}

namespace {
template <class Number>
void AppendNumber(std::string& out, Number value) {
    char text[24];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    out.append(text, end);
}
}  // namespace

void AppendDecimal(std::string& out, std::int64_t value) {
    AppendNumber(out, value);
}

void AppendDecimal(std::string& out, std::uint64_t value) {
    AppendNumber(out, value);
}

void AppendPointer(std::string& out, std::uint64_t address) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llX", static_cast<unsigned long long>(address));
    out.append(text, 16);
}
