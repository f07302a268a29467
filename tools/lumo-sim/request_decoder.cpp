#include "tools/lumo-sim/request_decoder.h"

#include <functional>
#include <map>
#include <set>
#include <vector>

#include "tools/common/utf.h"
#include "tools/lumo-sim/wire_reader.h"

namespace LumoSim {

using LumoTools::Utf16ToUtf8;
namespace {

using Error = std::optional<std::string>;
// Reads the payload (and the chunk value where it carries one) into the fields.
using Layout = std::function<Error(WireReader&, std::uint32_t chunkValue, JsonLine&)>;

Error Fail(std::string why) {
    return why;
}

// Requests with neither payload nor chunk value.
const std::set<std::uint32_t> kBareRequests = {1021, 2001, 2008, 2010, 2012, 2013, 2014, 2020, 2021,
                                               2023, 2024, 2030, 2031, 2061, 2067, 2080, 2081, 2082,
                                               2083, 2200, 2201, 2206, 2211, 2216, 2217, 2221, 2222,
                                               2223, 2224, 2228, 2229, 2230, 2233};

// Requests whose one signed value travels in the chunk.
const std::set<std::uint32_t> kChunkValueRequests = {2005, 2009, 2019, 2300};

// 272 bytes of API version, token, client type, a 1 and zeros. The token is judged apart,
// against the service's clock (received_message.cpp).
Error Registration(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() != 272) {
        return Fail("a registration takes 272 bytes");
    }
    const std::uint32_t apiVersion = in.U32();
    fields.Add("apiVersion", apiVersion).Add("token", in.Hex(8)).Add("clientType", in.U32());
    const std::uint64_t flag = in.Unsigned(1);
    fields.Add("flag", flag);
    if (apiVersion != 0x06030000) {
        return Fail("the registration's API version is not 6.3.0.0");
    }
    if (flag != 1) {
        return Fail("the registration's flag is not 1");
    }
    return in.Zeros(255) ? std::nullopt
                         : Fail("the registration has non-zero bytes after its flag");
}

Error Record2002(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() != 84) {
        return Fail("2002 takes 84 bytes");
    }
    const std::uint32_t first = in.U32();
    const std::uint32_t second = in.U32();
    if (second == 1) {
        // a, 1, 0, 0, 0, b, then zeros.
        const bool zeros = in.U32() == 0 && in.U32() == 0 && in.U32() == 0;
        const std::uint32_t b = in.U32();
        if (!zeros || !in.Zeros(60)) {
            return Fail("2002 (a, b) has non-zero bytes where zeros belong");
        }
        fields.Add("form", 2).Add("a", first).Add("b", b);
        return std::nullopt;
    }
    // 0, 0, a, b, c, d, 0, then zeros.
    const std::uint32_t a = in.U32(), b = in.U32(), c = in.U32(), d = in.U32();
    if (first != 0 || second != 0 || in.U32() != 0 || !in.Zeros(56)) {
        return Fail("2002 (a, b, c, d) has non-zero bytes where zeros belong");
    }
    fields.Add("form", 1).Add("a", a).Add("b", b).Add("c", c).Add("d", d);
    return std::nullopt;
}

Error Record2004(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() != 280) {
        return Fail("2004 takes 280 bytes");
    }
    for (const char* name : {"a", "b", "c", "d", "e"}) {
        fields.Add(name, in.U32());
    }
    return in.Zeros(260) ? std::nullopt : Fail("2004 has non-zero bytes after its five values");
}

Error Record2007(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() != 520) {
        return Fail("2007 takes 520 bytes");
    }
    fields.Add("value", in.U32());
    std::u16string text = in.Units(258);
    const std::size_t end = text.find(u'\0');
    if (end == std::u16string::npos || end > 256) {
        return Fail("2007's text is not terminated within 257 units");
    }
    const bool restZero = text.find_first_not_of(u'\0', end) == std::u16string::npos;
    text.resize(end);
    fields.Add("text", Utf16ToUtf8(text)).Add("textUnits", text.size());
    return restZero ? std::nullopt : Fail("2007 has bytes after its text's terminator");
}

Error Record2011(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() != 72) {
        return Fail("2011 takes 72 bytes");
    }
    fields.Add("value", in.Unsigned(8));
    return in.Zeros(64) ? std::nullopt : Fail("2011 has non-zero bytes after its value");
}

Error Record2016(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() < 48) {
        return Fail("2016 takes at least 48 bytes");
    }
    fields.Add("a", in.U32()).Add("b", in.U32()).Add("c", in.U32());
    if (!in.Zeros(36)) {
        return Fail("2016 has non-zero bytes in its header's reserved part");
    }
    const std::size_t dataSize = in.Left();
    fields.Add("dataSize", dataSize).Add("data", in.Hex(dataSize));
    return std::nullopt;
}

Error Record2022(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() != 260) {
        return Fail("2022 takes 260 bytes");
    }
    fields.Add("value", in.U32());
    return in.Zeros(256) ? std::nullopt : Fail("2022 has non-zero bytes after its value");
}

Error Bytes2100(WireReader& in, std::uint32_t, JsonLine& fields) {
    if (in.Left() != 2) {
        return Fail("2100 takes 2 bytes");
    }
    fields.Add("bytes", in.Hex(2));
    return std::nullopt;
}

Error Forms2220(WireReader& in, std::uint32_t chunkValue, JsonLine& fields) {
    if (in.Left() != 0) {
        return Fail("a payload where the request carries none");
    }
    if (chunkValue > 1) {
        return Fail("2220 carries 0 or 1 in the chunk");
    }
    fields.Add("form", chunkValue + 1);
    return std::nullopt;
}

// Archive-encoded requests: every byte must be read, no read may run past the end, and a
// field the client always sends as zero must be zero (the reader's own verdict).
Layout Judged(std::function<Error(WireReader&, JsonLine&)> read) {
    return [read](WireReader& in, std::uint32_t, JsonLine& fields) -> Error {
        const Error constant = read(in, fields);
        if (in.Failed()) {
            return Fail("the encoded fields run past the payload");
        }
        if (!in.Complete()) {
            return Fail(std::to_string(in.Left()) + " bytes after the encoded fields");
        }
        return constant;
    };
}

// An encoded request without constant fields.
Layout Encoded(std::function<void(WireReader&, JsonLine&)> read) {
    return Judged([read](WireReader& in, JsonLine& fields) -> Error {
        read(in, fields);
        return std::nullopt;
    });
}

Error Zero(std::uint64_t value, const char* field) {
    return value == 0 ? std::nullopt : Fail(std::string(field) + " is not 0");
}

Error ReadAccess(WireReader& in, JsonLine& fields) {
    const std::uint32_t leading = in.U32();
    const std::string digest = in.Narrow();
    fields.Add("leading", leading).Add("digest", digest).Add("time", in.S64());
    if (digest.size() != 64 || digest.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return Fail("1022's digest is not 64 lowercase hex digits");
    }
    return Zero(leading, "1022's leading field");
}

Error ReadScript(WireReader& in, JsonLine& fields) {
    fields.Add("scriptId", in.U32());
    const std::uint32_t count = in.U32();
    JsonLine arguments;
    // The arguments are a map: a name that comes twice cannot have been sent by one.
    std::set<std::u16string> names;
    Error twice;
    for (std::uint32_t i = 0; i < count && !in.Failed(); ++i) {
        const std::u16string name = in.Wide();
        if (!names.insert(name).second && !twice) {
            twice = "2227's argument name \"" + Utf16ToUtf8(name) + "\" comes twice";
        }
        arguments.Add(Utf16ToUtf8(name), Utf16ToUtf8(in.Wide()));
    }
    const std::uint64_t last = in.Unsigned(1);
    fields.Add("arguments", arguments).Add("last", last);
    return twice ? twice : Zero(last, "2227's byte after the arguments");
}

void ReadTextList(WireReader& in, JsonLine& fields) {
    const std::uint32_t count = in.U32();
    std::vector<std::string> items;
    for (std::uint32_t i = 0; i < count && !in.Failed(); ++i) {
        items.push_back(Utf16ToUtf8(in.Wide()));
    }
    fields.Add("items", items);
}

void ReadNumberList(WireReader& in, JsonLine& fields) {
    fields.Add("id", in.U32());
    const std::uint32_t count = in.U32();
    std::vector<std::uint32_t> values;
    for (std::uint32_t i = 0; i < count && !in.Failed(); ++i) {
        values.push_back(in.U32());
    }
    fields.Add("values", values);
}

const std::map<std::uint32_t, Layout>& Layouts() {
    static const std::map<std::uint32_t, Layout> layouts = {
        {100, Registration},
        {2000, Registration},
        {2002, Record2002},
        {2004, Record2004},
        {2007, Record2007},
        {2011, Record2011},
        {2016, Record2016},
        {2022, Record2022},
        {2100, Bytes2100},
        {2220, Forms2220},
        {2203, Encoded([](WireReader& in, JsonLine& f) {
             f.Add("id", in.U32()).Add("value", in.U32());
         })},
        {2204, Encoded([](WireReader& in, JsonLine& f) {
             f.Add("id", in.U32()).Add("text", Utf16ToUtf8(in.Wide()));
         })},
        {2205, Encoded(ReadNumberList)},
        {2207, Encoded([](WireReader& in, JsonLine& f) {
             f.Add("id", in.U32()).Add("first", in.S32()).Add("second", in.S32());
         })},
        {2212, Encoded([](WireReader& in, JsonLine& f) {
             f.Add("id", in.U32()).Add("text", in.Narrow());
         })},
        {2214, Judged([](WireReader& in, JsonLine& f) -> Error {
             const std::uint64_t flag = in.Unsigned(1);
             f.Add("flag", flag).Add("value", in.U32()).Add("number", in.Double());
             return Zero(flag, "2214's leading flag");
         })},
        {1022, Judged(ReadAccess)},
        {2065, Encoded([](WireReader& in, JsonLine& f) {
             f.Add("displayText", Utf16ToUtf8(in.Wide())).Add("text", Utf16ToUtf8(in.Wide()));
         })},
        {2066, Encoded(ReadTextList)},
        {2227, Judged(ReadScript)},
        {2301, Judged([](WireReader& in, JsonLine& f) -> Error {
             f.Add("a", in.U32()).Add("b", in.U32());
             const std::uint32_t third = in.U32();
             f.Add("third", third);
             return Zero(third, "2301's third field");
         })},
    };
    return layouts;
}

}  // namespace

std::optional<std::string> DescribeRequest(JsonLine& fields, std::uint32_t messageId,
                                           std::uint32_t chunkValue, const std::uint8_t* payload,
                                           std::size_t size) {
    WireReader in(payload, size);
    const bool valueInChunk = kChunkValueRequests.count(messageId) != 0 || messageId == 2220;
    if (!valueInChunk && chunkValue != 0) {
        return Fail("a chunk value where the request carries none");
    }
    if (kBareRequests.count(messageId) != 0 || kChunkValueRequests.count(messageId) != 0) {
        if (size != 0) {
            return Fail("a payload where the request carries none");
        }
        if (valueInChunk) {
            fields.Add("value", static_cast<std::int32_t>(chunkValue));
        }
        return std::nullopt;
    }
    const auto layout = Layouts().find(messageId);
    if (layout == Layouts().end()) {
        return Fail("not a request the service takes");
    }
    return layout->second(in, chunkValue, fields);
}

}  // namespace LumoSim
