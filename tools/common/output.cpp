#include "tools/common/output.h"

#include <cstdio>

namespace LumoTools {

std::int64_t MonotonicMicroseconds() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

JsonLine Output::Line(std::string_view event) const {
    const auto elapsed = std::chrono::steady_clock::now() - start_;
    JsonLine line;
    line.Add("t", std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count())
        .Add("event", event);
    return line;
}

void Output::Print(const JsonLine& line) const {
    std::fputs((line.Text() + "\n").c_str(), stdout);
    std::fflush(stdout);
}

}  // namespace LumoTools
