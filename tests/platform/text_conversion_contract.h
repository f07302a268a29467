// What the helper relies on from the UTF-16 to UTF-8 conversion, run against the portable
// backend (natively) and against the system's own conversion (under Wine), so that a name
// becomes the same announced bytes on both. The byte-level outcomes of the too-small cases
// were measured on the system's conversion first.
//
// An environment type provides:  TextConversion& conversion();
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/service.h"
#include "platform/text_conversion.h"

namespace Orvane::Platform {

template <class Environment>
class TextConversionContract : public ::testing::Test {
  protected:
    static constexpr char kUntouched = '\xAA';
    static constexpr int kBufferSize = 80;

    // Converts into a buffer of kUntouched bytes, larger than the size given, and returns the
    // whole buffer afterwards: bytes written past the size show up as well.
    std::string Convert(const std::u16string& source, int destinationSize, int& result) {
        std::string buffer(kBufferSize, kUntouched);
        result = environment.conversion().Utf16ToUtf8(source, buffer.data(), destinationSize);
        return buffer;
    }
    static std::string Untouched(std::size_t written) {
        return std::string(kBufferSize - written, kUntouched);
    }

    Environment environment;
};

TYPED_TEST_SUITE_P(TextConversionContract);

inline std::u16string Repeat(std::size_t count, char16_t unit) {
    return std::u16string(count, unit);
}

// The limit is 64 bytes, the helper's name field: 61 bytes is the longest name announced
// whole, 64 fills the field exactly, 65 does not fit and fails keeping the whole characters
// that fitted. Size 0 measures without writing; nothing else is ever written.
TYPED_TEST_P(TextConversionContract, ConvertsWhatFitsAndTellsTheSize) {
    const struct {
        const char* what;
        std::u16string source;
        int size;
        int result;
        std::string written;
    } cases[] = {
        {"61 ASCII bytes", Repeat(61, u'a'), 64, 61, std::string(61, 'a')},
        {"64 ASCII bytes", Repeat(64, u'a'), 64, 64, std::string(64, 'a')},
        {"two-byte character ends at the limit", Repeat(62, u'b') + u"\u00E9", 64, 64,
         std::string(62, 'b') + "\xC3\xA9"},
        {"three-byte character ends at the limit", Repeat(61, u'b') + u"\u20AC", 64, 64,
         std::string(61, 'b') + "\xE2\x82\xAC"},
        {"surrogate pair ends at the limit", Repeat(60, u'b') + u"\U0001F600", 64, 64,
         std::string(60, 'b') + "\xF0\x9F\x98\x80"},
        {"mixed widths", u"Z\u00E4hler \u20AC \U00010348.", 64, 17,
         "Z\xC3\xA4hler \xE2\x82\xAC \xF0\x90\x8D\x88."},
        {"highest code point", u"\U0010FFFF", 64, 4, "\xF4\x8F\xBF\xBF"},
        {"lone high surrogate", u"x\xD800y", 64, 5, "x\xEF\xBF\xBDy"},
        {"lone low surrogate", u"x\xDC00y", 64, 5, "x\xEF\xBF\xBDy"},
        {"high surrogate as last unit", u"x\xD800", 64, 4, "x\xEF\xBF\xBD"},
        {"low before high", u"x\xDC00\xD800", 64, 7, "x\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"two high surrogates then a low", u"\xD800\xD83D\xDE00", 64, 7,
         "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
        {"replacement ends at the limit", Repeat(61, u'z') + u"\xD800", 64, 64,
         std::string(61, 'z') + "\xEF\xBF\xBD"},
        {"zero unit inside the length", std::u16string(u"a\0b", 3), 64, 3, std::string("a\0b", 3)},
        {"65 ASCII bytes", Repeat(65, u'a'), 64, 0, std::string(64, 'a')},
        {"two-byte character straddles the limit", Repeat(63, u'b') + u"\u00E9", 64, 0,
         std::string(63, 'b')},
        {"three-byte character straddles the limit", Repeat(62, u'b') + u"\u20AC", 64, 0,
         std::string(62, 'b')},
        {"surrogate pair straddles the limit by one", Repeat(61, u'b') + u"\U0001F600", 64, 0,
         std::string(61, 'b')},
        {"surrogate pair straddles the limit by three", Repeat(63, u'b') + u"\U0001F600", 64, 0,
         std::string(63, 'b')},
        {"replacement straddles the limit", Repeat(62, u'z') + u"\xD800", 64, 0,
         std::string(62, 'z')},
        {"overflow long after a multi-byte character",
         Repeat(10, u'b') + u"\u20AC" + Repeat(60, u'c'), 64, 0,
         std::string(10, 'b') + "\xE2\x82\xAC" + std::string(51, 'c')},
        {"empty source", u"", 64, 0, ""},
        {"negative destination size", u"abc", -1, 0, ""},
        {"size 0 measures", Repeat(65, u'a'), 0, 65, ""},
        {"size 0 measures every width", u"\u00E9\u20AC\U0001F600\xD800", 0, 2 + 3 + 4 + 3, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        int result = -1;
        EXPECT_EQ(this->Convert(c.source, c.size, result),
                  c.written + this->Untouched(c.written.size()));
        EXPECT_EQ(result, c.result);
    }
}

REGISTER_TYPED_TEST_SUITE_P(TextConversionContract, ConvertsWhatFitsAndTellsTheSize);

// Both builds test the backend that Get<TextConversion>() hands out by default.
struct DefaultTextConversion {
    TextConversion& conversion() { return Get<TextConversion>(); }
};

}  // namespace Orvane::Platform
