#include "tools/lumo-sim/script.h"

#include <map>
#include <optional>
#include <tuple>

#include "tools/common/utf.h"
#include "tools/common/words.h"

namespace LumoSim {

using LumoTools::Utf8ToUtf16;
namespace {

using LumoTools::ParseHex;
using LumoTools::ParseNumber;
using LumoTools::RestAfterWords;
using LumoTools::SplitWords;
using LumoTools::Words;

// A parser gets the words after the command's name and the raw rest of the line, fills
// the command, and returns an error text or nothing.
using Parser = std::function<std::optional<std::string>(const Words&, std::string_view, Command&)>;

std::string Expect(std::string_view what) {
    return "expected " + std::string(what);
}

// "MAJOR.MINOR" with the major part up to `majorLimit` and the minor part a byte.
std::optional<std::pair<std::uint32_t, std::uint8_t>> ParseVersion(std::string_view word,
                                                                   std::uint32_t majorLimit) {
    const auto dot = word.find('.');
    if (dot == std::string_view::npos) {
        return std::nullopt;
    }
    const auto major = ParseNumber<std::uint32_t>(word.substr(0, dot));
    const auto minor = ParseNumber<std::uint8_t>(word.substr(dot + 1));
    if (!major || *major > majorLimit || !minor) {
        return std::nullopt;
    }
    return std::pair{*major, *minor};
}

// A setting that takes one number of type T.
template <class T>
Parser SetNumber(std::string_view what, std::function<void(SimSettings&, T)> store) {
    return [what = std::string(what), store](const Words& words, std::string_view,
                                             Command& command) -> std::optional<std::string> {
        const auto value = words.size() == 1 ? ParseNumber<T>(words[0]) : std::nullopt;
        if (!value) {
            return Expect(what);
        }
        command.apply = [store, v = *value](SimSettings& settings) { store(settings, v); };
        return std::nullopt;
    };
}

Parser SetVersion(std::string_view what, std::uint32_t majorLimit,
                  std::function<void(SimSettings&, std::uint32_t, std::uint8_t)> store) {
    return [what = std::string(what), majorLimit, store](
               const Words& words, std::string_view,
               Command& command) -> std::optional<std::string> {
        const auto version = words.size() == 1 ? ParseVersion(words[0], majorLimit) : std::nullopt;
        if (!version) {
            return Expect(what);
        }
        command.apply = [store, v = *version](SimSettings& settings) {
            store(settings, v.first, v.second);
        };
        return std::nullopt;
    };
}

Parser SetName(bool fillsRecord) {
    return [fillsRecord](const Words&, std::string_view rest,
                         Command& command) -> std::optional<std::string> {
        const auto name = Utf8ToUtf16(rest);
        if (!name) {
            return "the name is not valid UTF-8";
        }
        if (fillsRecord && name->empty()) {
            return Expect("a text to repeat");
        }
        if (!fillsRecord && name->size() > kMaxNameUnits) {
            return "the name takes more than " + std::to_string(kMaxNameUnits) +
                   " UTF-16 units (use set name-fill for an unterminated one)";
        }
        command.apply = [fillsRecord, n = *name](SimSettings& settings) {
            settings.instrument.name = n;
            settings.instrument.nameFillsRecord = fillsRecord;
        };
        return std::nullopt;
    };
}

std::optional<std::string> SetRecipient(const Words&, std::string_view rest, Command& command) {
    const auto title = Utf8ToUtf16(rest);
    if (!title) {
        return "the title is not valid UTF-8";
    }
    command.apply = [t = *title](SimSettings& settings) { settings.recipient = t; };
    return std::nullopt;
}

Parser Wait(CommandKind kind) {
    return [kind](const Words& words, std::string_view,
                  Command& command) -> std::optional<std::string> {
        const auto ms = words.size() == 1 ? ParseNumber<std::uint32_t>(words[0]) : std::nullopt;
        if (!ms) {
            return Expect("milliseconds");
        }
        command.kind = kind;
        command.milliseconds = *ms;
        return std::nullopt;
    };
}

Parser NoArguments(CommandKind kind) {
    return [kind](const Words& words, std::string_view,
                  Command& command) -> std::optional<std::string> {
        if (!words.empty()) {
            return Expect("no arguments");
        }
        command.kind = kind;
        return std::nullopt;
    };
}

std::optional<std::string> ParseWaitMessage(const Words& words, std::string_view,
                                            Command& command) {
    const auto id = words.size() == 2 ? ParseNumber<std::uint32_t>(words[0]) : std::nullopt;
    const auto ms = words.size() == 2 ? ParseNumber<std::uint32_t>(words[1]) : std::nullopt;
    if (!id || !ms) {
        return Expect("MESSAGE-ID MILLISECONDS");
    }
    command.kind = CommandKind::WaitMessage;
    command.messageId = *id;
    command.milliseconds = *ms;
    return std::nullopt;
}

// "set NAME on|off" for one switch of the settings.
Parser SetSwitch(bool SimSettings::*field) {
    return [field](const Words& words, std::string_view,
                   Command& command) -> std::optional<std::string> {
        if (words.size() != 1 || (words[0] != "on" && words[0] != "off")) {
            return Expect("on or off");
        }
        command.apply = [field, on = words[0] == "on"](SimSettings& settings) {
            settings.*field = on;
        };
        return std::nullopt;
    };
}

std::optional<std::string> ParseSendInstrument(const Words& words, std::string_view,
                                               Command& command) {
    if (!words.empty()) {
        return Expect("no arguments");
    }
    command.message = [](const SimSettings& s) { return InstrumentDataMessage(s.instrument); };
    return std::nullopt;
}

std::optional<std::string> ParseSendMeasurement(const Words& words, std::string_view,
                                                Command& command) {
    std::optional<std::uint32_t> status;
    if (words.size() == 1) {
        status = ParseNumber<std::uint32_t>(words[0]);
        if (!status) {
            return Expect("a status word");
        }
    } else if (!words.empty()) {
        return Expect("at most a status word");
    }
    command.message = [status](const SimSettings& s) {
        return MeasurementMessage(status.value_or(s.measurementStatus));
    };
    return std::nullopt;
}

// Numbers first, then an optional hexadecimal payload.
bool ParseNumbersAndPayload(const Words& words, std::size_t numberCount,
                            std::vector<std::uint32_t>& numbers,
                            std::vector<std::uint8_t>& payload) {
    if (words.size() != numberCount && words.size() != numberCount + 1) {
        return false;
    }
    for (std::size_t i = 0; i < numberCount; ++i) {
        const auto n = ParseNumber<std::uint32_t>(words[i]);
        if (!n) {
            return false;
        }
        numbers.push_back(*n);
    }
    if (words.size() > numberCount) {
        auto bytes = ParseHex(words[numberCount]);
        if (!bytes) {
            return false;
        }
        payload = std::move(*bytes);
    }
    return true;
}

std::optional<std::string> ParseSendReply(const Words& words, std::string_view, Command& command) {
    std::vector<std::uint32_t> n;
    std::vector<std::uint8_t> payload;
    if (!ParseNumbersAndPayload(words, 2, n, payload)) {
        return Expect("ANSWERED-CODE RESULT [HEX-PAYLOAD]");
    }
    command.message = [n, payload](const SimSettings&) {
        return ReplyMessage(n[0], n[1], payload);
    };
    return std::nullopt;
}

std::optional<std::string> ParseSendAny(const Words& words, std::string_view, Command& command) {
    std::vector<std::uint32_t> n;
    std::vector<std::uint8_t> payload;
    if (!ParseNumbersAndPayload(words, 3, n, payload)) {
        return Expect("MESSAGE-ID ARGUMENT1 ARGUMENT2 [HEX-PAYLOAD]");
    }
    command.message = [n, payload](const SimSettings&) {
        return ServiceMessage{n[0], n[1], n[2], payload};
    };
    return std::nullopt;
}

std::optional<std::string> ParseSendRaw(const Words& words, std::string_view, Command& command) {
    std::optional<std::vector<std::uint8_t>> bytes;
    if (words.empty()) {
        bytes.emplace();
    } else if (words.size() == 1) {
        bytes = ParseHex(words[0]);
    }
    if (!bytes) {
        return Expect("[HEX-BLOCK]");
    }
    command.message = [block = *bytes](const SimSettings&) {
        return ServiceMessage{0, 0, 0, block, true};
    };
    return std::nullopt;
}

// answer REQUEST REPLY RESULT [HEX]: REQUEST may be '*' (any), REPLY '=' (the same id).
std::optional<std::string> ParseAnswer(const Words& words, std::string_view, Command& command) {
    const auto usage = Expect("REQUEST-ID|* REPLY-ID|= RESULT [HEX-PAYLOAD]");
    if (words.size() != 3 && words.size() != 4) {
        return usage;
    }
    const auto request = words[0] == "*" ? std::optional<std::uint32_t>{kAnyRequest}
                                         : ParseNumber<std::uint32_t>(words[0]);
    const auto reply =
        words[1] == "=" ? std::optional<std::uint32_t>{0} : ParseNumber<std::uint32_t>(words[1]);
    const auto result = ParseNumber<std::uint32_t>(words[2]);
    const auto payload = words.size() == 4 ? ParseHex(words[3]) : std::vector<std::uint8_t>{};
    if (!request || (words[0] != "*" && *request == kAnyRequest) || !reply || !result || !payload) {
        return usage;
    }
    command.kind = CommandKind::Set;
    command.apply = [request = *request, answer = Answer{*reply, *result, *payload}](
                        SimSettings& settings) { settings.answers[request] = answer; };
    return std::nullopt;
}

std::optional<std::string> ParseSendShutdown(const Words& words, std::string_view,
                                             Command& command) {
    if (!words.empty()) {
        return Expect("no arguments");
    }
    command.message = [](const SimSettings&) { return ShutdownMessage(); };
    return std::nullopt;
}

const std::map<std::string, Parser, std::less<>>& Commands() {
    static const std::map<std::string, Parser, std::less<>> commands = {
        {"wait", Wait(CommandKind::Wait)},
        {"wait-registered", Wait(CommandKind::WaitRegistered)},
        {"wait-unregistered", Wait(CommandKind::WaitUnregistered)},
        {"wait-message", ParseWaitMessage},
        {"broadcast", NoArguments(CommandKind::Broadcast)},
        {"destroy-window", NoArguments(CommandKind::DestroyWindow)},
        {"create-window", NoArguments(CommandKind::CreateWindow)},
        {"answer", ParseAnswer},
    };
    return commands;
}

const std::map<std::string, Parser, std::less<>>& Settings() {
    static const std::map<std::string, Parser, std::less<>> settings = {
        {"accept", SetSwitch(&SimSettings::acceptMessages)},
        {"answer-inside", SetSwitch(&SimSettings::answerInside)},
        {"type",
         SetNumber<std::int32_t>("a signed 32-bit type",
                                 [](SimSettings& s, std::int32_t v) { s.instrument.type = v; })},
        {"subtype",
         SetNumber<std::uint8_t>("a sub-type up to 255",
                                 [](SimSettings& s, std::uint8_t v) { s.instrument.subType = v; })},
        {"name", SetName(false)},
        {"name-fill", SetName(true)},
        {"recipient", SetRecipient},
        {"version1", SetVersion("MAJOR.MINOR (MAJOR up to 4294967295, MINOR up to 255)", 0xFFFFFFFF,
                                [](SimSettings& s, std::uint32_t major, std::uint8_t minor) {
                                    s.instrument.version1Major = major;
                                    s.instrument.version1Minor = minor;
                                })},
        {"version2", SetVersion("MAJOR.MINOR (each up to 255)", 0xFF,
                                [](SimSettings& s, std::uint32_t major, std::uint8_t minor) {
                                    s.instrument.version2Major = static_cast<std::uint8_t>(major);
                                    s.instrument.version2Minor = minor;
                                })},
        {"record-size", SetNumber<std::uint16_t>(
                            "a record size up to 65535",
                            [](SimSettings& s, std::uint16_t v) { s.instrument.recordSize = v; })},
        {"status",
         SetNumber<std::uint32_t>(
             "a status word", [](SimSettings& s, std::uint32_t v) { s.measurementStatus = v; })},
    };
    return settings;
}

const std::map<std::string, Parser, std::less<>>& Sends() {
    static const std::map<std::string, Parser, std::less<>> sends = {
        {"instrument", ParseSendInstrument}, {"measurement", ParseSendMeasurement},
        {"reply", ParseSendReply},           {"shutdown", ParseSendShutdown},
        {"message", ParseSendAny},           {"raw", ParseSendRaw},
    };
    return sends;
}

std::optional<std::string> ParseLine(std::string_view line, Command& command) {
    const Words words = SplitWords(line);
    const auto& [table, kind, nameWords] =
        words[0] == "set"    ? std::tuple{&Settings(), CommandKind::Set, std::size_t{2}}
        : words[0] == "send" ? std::tuple{&Sends(), CommandKind::Send, std::size_t{2}}
                             : std::tuple{&Commands(), CommandKind::Wait, std::size_t{1}};
    if (words.size() < nameWords) {
        return Expect("what to " + std::string(words[0]));
    }
    const auto found = table->find(words[nameWords - 1]);
    if (found == table->end()) {
        std::string name(words[0]);
        if (nameWords == 2) {
            name += " " + std::string(words[1]);
        }
        return "unknown command '" + name + "'";
    }
    command.kind = kind;
    return found->second(Words(words.begin() + nameWords, words.end()),
                         RestAfterWords(line, nameWords), command);
}

}  // namespace

Script ParseScript(std::string_view text) {
    Script script;
    int lineNumber = 0;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        std::string_view line = text.substr(start, end - start);
        start = end + 1;
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        const Words words = SplitWords(line);
        if (words.empty() || words[0][0] == '#') {
            continue;
        }
        Command command;
        command.lineNumber = lineNumber;
        command.text = std::string(line);
        if (const auto error = ParseLine(line, command)) {
            script.errors.push_back("line " + std::to_string(lineNumber) + ": " + *error);
        } else {
            script.commands.push_back(std::move(command));
        }
    }
    return script;
}

}  // namespace LumoSim
