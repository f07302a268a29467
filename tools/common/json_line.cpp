#include "tools/common/json_line.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace LumoTools {
namespace {

std::string Quoted(std::string_view text) {
    std::string out = "\"";
    for (char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
                    out += escaped;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

}  // namespace

JsonLine& JsonLine::Add(std::string_view key, std::string_view text) {
    return AddRaw(key, Quoted(text));
}

JsonLine& JsonLine::Add(std::string_view key, bool value) {
    return AddRaw(key, value ? "true" : "false");
}

JsonLine& JsonLine::Add(std::string_view key, double value) {
    if (!std::isfinite(value)) {
        return AddRaw(key, "null");
    }
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return AddRaw(key, std::string_view(text, result.ptr - text));
}

JsonLine& JsonLine::Add(std::string_view key, const std::vector<std::string>& texts) {
    std::string list = "[";
    for (const std::string& text : texts) {
        list += (list.size() > 1 ? "," : "") + Quoted(text);
    }
    return AddRaw(key, list + "]");
}

JsonLine& JsonLine::Add(std::string_view key, const JsonLine& object) {
    return AddRaw(key, object.Text());
}

JsonLine& JsonLine::AddRaw(std::string_view key, std::string_view json) {
    if (text_.size() > 1) {
        text_ += ",";
    }
    text_ += Quoted(key);
    text_ += ":";
    text_ += json;
    return *this;
}

}  // namespace LumoTools
