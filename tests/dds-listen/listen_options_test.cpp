#include "tools/dds-listen/lib/listen_options.h"

#include <gtest/gtest.h>

namespace DdsListen {
namespace {

TEST(ListenOptions, Defaults) {
    const ParsedOptions parsed = ParseListenOptions({});
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(parsed.options->address, "127.0.0.1");
    EXPECT_EQ(parsed.options->port, 50999);
    EXPECT_EQ(parsed.options->format, OutputFormat::Text);
    EXPECT_FALSE(parsed.options->count);
    EXPECT_FALSE(parsed.options->seconds);
    EXPECT_TRUE(parsed.options->multicastInterface.empty());
}

TEST(ListenOptions, EveryOption) {
    const ParsedOptions parsed = ParseListenOptions(
        {"--json", "--port", "46000", "--count", "3", "--seconds", "10", "--address", "127.0.0.2"});
    ASSERT_TRUE(parsed.options) << parsed.error;
    EXPECT_EQ(parsed.options->format, OutputFormat::Json);
    EXPECT_EQ(parsed.options->port, 46000);
    EXPECT_EQ(parsed.options->count, 3u);
    EXPECT_EQ(parsed.options->seconds, 10u);
    EXPECT_EQ(parsed.options->address, "127.0.0.2");

    const ParsedOptions multicast = ParseListenOptions({"--multicast", "10.0.0.4"});
    ASSERT_TRUE(multicast.options);
    EXPECT_EQ(multicast.options->multicastInterface, "10.0.0.4");
    EXPECT_EQ(multicast.options->address, "0.0.0.0");

    EXPECT_TRUE(ParseListenOptions({"--help"}).options->help);
}

TEST(ListenOptions, MistakesAreNamed) {
    struct Case {
        std::vector<std::string> arguments;
        const char* error;
    } const cases[] = {
        {{"--verbose"}, "unknown option --verbose"},
        {{"--port"}, "--port needs a value"},
        {{"--port", "0"}, "--port needs a number from 1 to 65535"},
        {{"--port", "65536"}, "--port needs a number from 1 to 65535"},
        {{"--port", "80a"}, "--port needs a number from 1 to 65535"},
        {{"--count", "0"}, "--count needs a positive number"},
        {{"--seconds", "-1"}, "--seconds needs a positive number"},
        {{"--json", "--count"}, "--count needs a value"},
    };
    for (const auto& c : cases) {
        const ParsedOptions parsed = ParseListenOptions(c.arguments);
        EXPECT_FALSE(parsed.options) << c.error;
        EXPECT_EQ(parsed.error, c.error);
    }
}

}  // namespace
}  // namespace DdsListen
