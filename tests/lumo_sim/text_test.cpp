#include <gtest/gtest.h>

#include "tools/common/json_line.h"
#include "tools/common/utf.h"

namespace LumoTools {
namespace {

TEST(JsonLine, ValuesAreQuotedAndEscapedInOrder) {
    JsonLine line;
    line.Add("n", -5)
        .Add("u", std::uint64_t{18446744073709551615u})
        .Add("ok", true)
        .Add("s", "a\"b\\c\nd\x01\xC3\xA9");
    EXPECT_EQ(line.Text(),
              "{\"n\":-5,\"u\":18446744073709551615,\"ok\":true,"
              "\"s\":\"a\\\"b\\\\c\\nd\\u0001\xC3\xA9\"}");
    EXPECT_EQ(JsonLine().Text(), "{}");
}

TEST(Utf, Utf8ToUtf16AcceptsWellFormedTextOnly) {
    struct Case {
        const char* utf8;
        std::optional<std::u16string> utf16;
    };
    const Case cases[] = {
        {"", u""},
        {"Arm 7", u"Arm 7"},
        {"\xC3\xA9\xE2\x82\xAC", u"\u00E9\u20AC"},
        {"\xF0\x9F\x98\x80", u"\U0001F600"},
        {"\xC3", std::nullopt},              // cut short
        {"\xE2\x82", std::nullopt},          // cut short
        {"\x80", std::nullopt},              // stray continuation
        {"\xC0\xAF", std::nullopt},          // overlong
        {"\xE0\x80\xAF", std::nullopt},      // overlong
        {"\xED\xA0\x80", std::nullopt},      // surrogate
        {"\xF4\x90\x80\x80", std::nullopt},  // beyond U+10FFFF
        {"\xC3\x28", std::nullopt},          // bad continuation
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Utf8ToUtf16(c.utf8), c.utf16) << c.utf8;
    }
}

TEST(Utf, Utf16ToUtf8ReplacesUnpairedSurrogates) {
    EXPECT_EQ(Utf16ToUtf8(u"A\u00E9\u20AC\U0001F600"), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    const char16_t lone[] = {u'a', 0xD800, u'b', 0xDC00, 0};
    EXPECT_EQ(Utf16ToUtf8(lone),
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
}

}  // namespace
}  // namespace LumoTools
