#include "tools/lumo-client/command_language.h"

#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "lumo/api/archive.h"
#include "tools/common/utf.h"
#include "tools/common/words.h"

namespace LumoClient {
namespace {

using Api::Client;
using Api::XeLUMOResult;
using LumoTools::ParseNumber;
using LumoTools::RestAfterWords;
using LumoTools::SplitWords;
using LumoTools::Words;

using Send = std::function<XeLUMOResult(Client&)>;

// The library's wide texts are std::wstring: UTF-16 on Windows, UTF-32 natively.
std::optional<std::wstring> Utf8ToWide(std::string_view text) {
    const auto units = LumoTools::Utf8ToUtf16(text);
    return units ? std::optional(Api::detail::FromUtf16(*units)) : std::nullopt;
}

// What a request's arguments are read from: the words after the id, and the text after
// `textAfter` of them (for the requests whose text runs to the end of the line).
class Arguments {
  public:
    Arguments(Words words, std::string_view line) : words_(std::move(words)), line_(line) {}

    std::size_t Count() const { return words_.size(); }

    template <class T>
    T Number(std::size_t index) {
        const auto value = index < words_.size() ? ParseNumber<T>(words_[index]) : std::nullopt;
        if (!value) {
            Fail("argument " + std::to_string(index + 1) + " is not a " +
                 (std::is_signed_v<T> ? "signed " : "") + std::to_string(8 * sizeof(T)) +
                 "-bit integer");
            return T{};
        }
        return *value;
    }

    double Real(std::size_t index) {
        double value = 0;
        const std::string_view word = index < words_.size() ? words_[index] : std::string_view();
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (word.empty() || error != std::errc() || end != word.data() + word.size() ||
            !std::isfinite(value)) {
            Fail("argument " + std::to_string(index + 1) + " is not a number");
        }
        return value;
    }

    // "hex:" and pairs of hexadecimal digits; "hex:" alone is no bytes.
    std::vector<std::uint8_t> Bytes(std::size_t index) {
        const std::string_view word = index < words_.size() ? words_[index] : std::string_view();
        const auto bytes =
            word.starts_with("hex:") ? LumoTools::ParseHex(word.substr(4)) : std::nullopt;
        if (!bytes) {
            Fail("argument " + std::to_string(index + 1) + " is not hex:BYTES");
            return {};
        }
        return *bytes;
    }

    // The rest of the line after the first `index` arguments, as written.
    std::string_view Text(std::size_t index) const {
        return RestAfterWords(line_, index + 2);  // "request" and the id come first
    }

    std::wstring WideText(std::size_t index) { return WideString(Text(index)); }

    std::wstring WideString(std::string_view text) {
        const auto wide = Utf8ToWide(text);
        if (!wide) {
            Fail("the text is not valid UTF-8");
            return {};
        }
        return *wide;
    }

    std::string_view Word(std::size_t index) const { return words_.at(index); }

    void Expect(std::initializer_list<std::size_t> counts, const char* usage) {
        for (std::size_t count : counts) {
            if (words_.size() == count) {
                return;
            }
        }
        Fail(std::string("expected ") + usage);
    }
    void AtLeast(std::size_t count, const char* usage) {
        if (words_.size() < count) {
            Fail(std::string("expected ") + usage);
        }
    }
    void Fail(std::string why) {
        if (!error_) {
            error_ = std::move(why);
        }
    }
    const std::optional<std::string>& Error() const { return error_; }

  private:
    Words words_;
    std::string_view line_;
    std::optional<std::string> error_;
};

using RequestParser = std::function<Send(Arguments&)>;

RequestParser NoArguments(XeLUMOResult (Client::*send)()) {
    return [send](Arguments& a) -> Send {
        a.Expect({0}, "no arguments");
        return [send](Client& c) { return (c.*send)(); };
    };
}

RequestParser SignedValue(XeLUMOResult (Client::*send)(std::int32_t)) {
    return [send](Arguments& a) -> Send {
        a.Expect({1}, "VALUE");
        return [send, v = a.Number<std::int32_t>(0)](Client& c) { return (c.*send)(v); };
    };
}

// A request without arguments of a sub-client's command interface.
template <class SubClientType, class Commands>
RequestParser SubClient(SubClientType& (Client::*which)(), XeLUMOResult (Commands::*send)()) {
    return [which, send](Arguments& a) -> Send {
        a.Expect({0}, "no arguments");
        return [which, send](Client& c) { return ((c.*which)().*send)(); };
    };
}

Send Parse2002(Arguments& a) {
    a.Expect({2, 4}, "A B or A B C D");
    if (a.Count() == 2) {
        return [x = a.Number<std::uint32_t>(0), y = a.Number<std::uint32_t>(1)](Client& c) {
            return c.SendRequest2002(x, y);
        };
    }
    return [v = std::array{a.Number<std::uint32_t>(0), a.Number<std::uint32_t>(1),
                           a.Number<std::uint32_t>(2), a.Number<std::uint32_t>(3)}](Client& c) {
        return c.SendRequest2002(v[0], v[1], v[2], v[3]);
    };
}

Send Parse2004(Arguments& a) {
    a.Expect({5}, "A B C D E");
    std::array<std::uint32_t, 5> v{};
    for (std::size_t i = 0; i < v.size(); ++i) {
        v[i] = a.Number<std::uint32_t>(i);
    }
    return [v](Client& c) { return c.SendRequest2004(v[0], v[1], v[2], v[3], v[4]); };
}

Send Parse2007(Arguments& a) {
    a.AtLeast(1, "VALUE TEXT");
    return [value = a.Number<std::uint32_t>(0), text = a.WideText(1)](Client& c) {
        return c.SendRequest2007(value, text);
    };
}

Send Parse2016(Arguments& a) {
    a.Expect({4}, "A B C hex:DATA");
    auto data = std::make_shared<std::vector<std::uint8_t>>(a.Bytes(3));
    return [x = a.Number<std::uint32_t>(0), y = a.Number<std::uint32_t>(1),
            z = a.Number<std::uint32_t>(2), data](Client& c) {
        return c.SendRequest2016(x, y, z, data->data(), static_cast<std::uint32_t>(data->size()));
    };
}

Send Parse2100(Arguments& a) {
    a.Expect({1}, "hex:TWO-BYTES");
    const std::vector<std::uint8_t> bytes = a.Bytes(0);
    if (bytes.size() != 2) {
        a.Fail("2100 takes exactly 2 bytes");
        return {};
    }
    return [b = std::array<std::uint8_t, 2>{bytes[0], bytes[1]}](Client& c) {
        const std::uint8_t two[2] = {b[0], b[1]};
        return c.SendRequest2100(two);
    };
}

Send Parse2205(Arguments& a) {
    a.AtLeast(1, "ID VALUE...");
    Api::sLUMORequest2205 request{a.Number<std::uint32_t>(0), {}};
    for (std::size_t i = 1; i < a.Count(); ++i) {
        request.values.push_back(a.Number<std::uint32_t>(i));
    }
    return [request](Client& c) { return c.SendRequest2205(request); };
}

Send Parse2220(Arguments& a) {
    a.Expect({1}, "0 or 1");
    const auto form = a.Number<std::uint32_t>(0);
    if (form > 1) {
        a.Fail("2220 takes 0 or 1");
    }
    return [form](Client& c) {
        return form == 0 ? c.SendRequest2220() : c.SendRequest2220SecondForm();
    };
}

Send Parse2066(Arguments& a) {
    std::vector<std::wstring> items;
    for (std::size_t i = 0; i < a.Count(); ++i) {
        items.push_back(a.WideString(a.Word(i)));
    }
    return [items](Client& c) { return c.GetDisplayClient().SendRequest2066(items); };
}

Send Parse2227(Arguments& a) {
    a.AtLeast(1, "SCRIPT-ID [NAME=VALUE...]");
    const auto scriptId = a.Number<std::uint32_t>(0);
    if (a.Count() == 1) {
        return [scriptId](Client& c) { return c.GetDcScriptClient().SendRequest2227(scriptId); };
    }
    Api::DcScript::ScriptArguments arguments;
    for (std::size_t i = 1; i < a.Count(); ++i) {
        const std::string_view pair = a.Word(i);
        const std::size_t equals = pair.find('=');
        if (equals == std::string_view::npos) {
            a.Fail("argument " + std::to_string(i + 1) + " is not NAME=VALUE");
            break;
        }
        arguments[a.WideString(pair.substr(0, equals))] = a.WideString(pair.substr(equals + 1));
    }
    return [scriptId, arguments](Client& c) {
        return c.GetDcScriptClient().SendRequest2227(scriptId, arguments);
    };
}

const std::map<std::uint32_t, RequestParser>& Requests() {
    using Display = Api::Display::ICommands;
    using Script = Api::DcScript::ICommands;
    static const std::map<std::uint32_t, RequestParser> requests = {
        {2002, Parse2002},
        {2004, Parse2004},
        {2005, SignedValue(&Client::SendRequest2005)},
        {2007, Parse2007},
        {2008, NoArguments(&Client::SendRequest2008)},
        {2009, SignedValue(&Client::SendRequest2009)},
        {2010, NoArguments(&Client::SendRequest2010)},
        {2011,
         [](Arguments& a) -> Send {
             a.Expect({1}, "VALUE");
             return [v = a.Number<std::uint64_t>(0)](Client& c) { return c.SendRequest2011(v); };
         }},
        {2012, NoArguments(&Client::SendRequest2012)},
        {2013, NoArguments(&Client::SendRequest2013)},
        {2014, NoArguments(&Client::SendRequest2014)},
        {2016, Parse2016},
        {2019, SignedValue(&Client::SendRequest2019)},
        {2020, NoArguments(&Client::SendRequest2020)},
        {2021, NoArguments(&Client::SendRequest2021)},
        {2022,
         [](Arguments& a) -> Send {
             a.Expect({1}, "VALUE");
             return [v = a.Number<std::uint32_t>(0)](Client& c) { return c.SendRequest2022(v); };
         }},
        {2023, NoArguments(&Client::SendRequest2023)},
        {2024, NoArguments(&Client::SendRequest2024)},
        {2030, NoArguments(&Client::SendRequest2030)},
        {2031, NoArguments(&Client::SendRequest2031)},
        {2080, NoArguments(&Client::SendRequest2080)},
        {2081, NoArguments(&Client::SendRequest2081)},
        {2082, NoArguments(&Client::SendRequest2082)},
        {2083, NoArguments(&Client::SendRequest2083)},
        {2100, Parse2100},
        {2200, NoArguments(&Client::SendRequest2200)},
        {2201, NoArguments(&Client::SendRequest2201)},
        {2203,
         [](Arguments& a) -> Send {
             a.Expect({2}, "ID VALUE");
             Api::sLUMORequest2203 r{a.Number<std::uint32_t>(0), a.Number<std::uint32_t>(1)};
             return [r](Client& c) { return c.SendRequest2203(r); };
         }},
        {2204,
         [](Arguments& a) -> Send {
             a.AtLeast(1, "ID TEXT");
             Api::sLUMORequest2204 r{a.Number<std::uint32_t>(0), a.WideText(1)};
             return [r](Client& c) { return c.SendRequest2204(r); };
         }},
        {2205, Parse2205},
        {2206, NoArguments(&Client::SendRequest2206)},
        {2207,
         [](Arguments& a) -> Send {
             a.Expect({3}, "ID FIRST SECOND");
             Api::sLUMORequest2207 r{a.Number<std::uint32_t>(0), a.Number<std::int32_t>(1),
                                     a.Number<std::int32_t>(2)};
             return [r](Client& c) { return c.SendRequest2207(r); };
         }},
        {2211, NoArguments(&Client::SendRequest2211)},
        {2212,
         [](Arguments& a) -> Send {
             a.AtLeast(1, "ID TEXT");
             Api::sLUMORequest2212 r{a.Number<std::uint32_t>(0), std::string(a.Text(1))};
             return [r](Client& c) { return c.SendRequest2212(r); };
         }},
        {2214,
         [](Arguments& a) -> Send {
             a.Expect({2}, "VALUE NUMBER");
             return [v = a.Number<std::uint32_t>(0), d = a.Real(1)](Client& c) {
                 return c.SendRequest2214(v, d);
             };
         }},
        {2216, NoArguments(&Client::SendRequest2216)},
        {2217, NoArguments(&Client::SendRequest2217)},
        {2220, Parse2220},
        {2221, NoArguments(&Client::SendRequest2221)},
        {2222, NoArguments(&Client::SendRequest2222)},
        {2223, NoArguments(&Client::SendRequest2223)},
        {2224, NoArguments(&Client::SendRequest2224)},
        {2233, NoArguments(&Client::SendRequest2233)},
        {1021, NoArguments(&Client::SendRequest1021)},
        {1022,
         [](Arguments& a) -> Send {
             return [text = std::string(a.Text(0))](Client& c) { return c.SendRequest1022(text); };
         }},
        {2061, SubClient(&Client::GetDisplayClient, &Display::SendRequest2061)},
        {2065,
         [](Arguments& a) -> Send {
             return
                 [t = a.WideText(0)](Client& c) { return c.GetDisplayClient().SendRequest2065(t); };
         }},
        {2066, Parse2066},
        {2067, SubClient(&Client::GetDisplayClient, &Display::SendRequest2067)},
        {2227, Parse2227},
        {2228, SubClient(&Client::GetDcScriptClient, &Script::SendRequest2228)},
        {2229, SubClient(&Client::GetDcScriptClient, &Script::SendRequest2229)},
        {2230, SubClient(&Client::GetDcScriptClient, &Script::SendRequest2230)},
        {2300,
         [](Arguments& a) -> Send {
             a.Expect({1}, "VALUE");
             return [v = a.Number<std::int32_t>(0)](Client& c) {
                 return c.GetWrtlClient().SendRequest2300(v);
             };
         }},
        {2301,
         [](Arguments& a) -> Send {
             a.Expect({2}, "A B");
             return [x = a.Number<std::uint32_t>(0), y = a.Number<std::uint32_t>(1)](Client& c) {
                 return c.GetWrtlClient().SendRequest2301(x, y);
             };
         }},
    };
    return requests;
}

std::optional<std::string> ParseRequest(const Words& words, std::string_view line,
                                        ClientCommand& command) {
    const auto id = words.size() >= 2 ? ParseNumber<std::uint32_t>(words[1]) : std::nullopt;
    if (!id) {
        return "expected request ID ARGUMENTS...";
    }
    const auto parser = Requests().find(*id);
    if (parser == Requests().end()) {
        return "no request " + std::to_string(*id);
    }
    Arguments arguments(Words(words.begin() + 2, words.end()), line);
    Send send = parser->second(arguments);
    if (arguments.Error()) {
        return "request " + std::to_string(*id) + ": " + *arguments.Error();
    }
    command.messageId = *id;
    command.run = std::move(send);
    return std::nullopt;
}

std::optional<std::string> ParseLine(std::string_view line, ClientCommand& command) {
    const Words words = SplitWords(line);
    if (words[0] == "request") {
        command.kind = ClientCommand::Kind::Request;
        return ParseRequest(words, line, command);
    }
    if (words[0] == "display-text") {
        command.kind = ClientCommand::Kind::DisplayText;
        const auto text = Utf8ToWide(RestAfterWords(line, 1));
        if (!text) {
            return "the text is not valid UTF-8";
        }
        command.run = [t = *text](Client& c) {
            if (t.empty()) {
                c.GetDisplayClient().ClearDisplayText();
            } else {
                c.GetDisplayClient().SetDisplayText(t);
            }
            return Api::LUMO_SUCCESS;
        };
        return std::nullopt;
    }
    if (words[0] == "wait") {
        const auto ms = words.size() == 2 ? ParseNumber<std::uint32_t>(words[1]) : std::nullopt;
        if (!ms) {
            return "expected wait MILLISECONDS";
        }
        command.kind = ClientCommand::Kind::Wait;
        command.milliseconds = *ms;
        return std::nullopt;
    }
    return "unknown command '" + std::string(words[0]) + "'";
}

}  // namespace

ParsedCommands ParseCommands(std::string_view text) {
    ParsedCommands parsed;
    int lineNumber = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        const Words words = SplitWords(line);
        if (words.empty() || words[0].starts_with('#')) {
            continue;
        }
        ClientCommand command;
        command.lineNumber = lineNumber;
        if (const auto error = ParseLine(line, command)) {
            parsed.errors.push_back("line " + std::to_string(lineNumber) + ": " + *error);
        } else {
            parsed.commands.push_back(std::move(command));
        }
    }
    return parsed;
}

bool IsRequest(std::uint32_t messageId) {
    return Requests().count(messageId) != 0;
}

}  // namespace LumoClient
