#include "tools/plugin-sim/options.h"

#include <gtest/gtest.h>

namespace PluginSim {
namespace {

TEST(PluginSimOptions, ScheduleAndHelperStartAreRead) {
    Options options;
    std::string error;
    ASSERT_TRUE(ParseOptions(
        {"--start", "C:\\bin\\LumoDiscoveryHelper.exe", "--debug", "--exit-after", "4500", "--send",
         "100:0x3EA:0a0B", "--send", "0:1001", "--close-after", "0", "--run-ms", "9000",
         "--exit-on-line", "stop", "--ctrl-event", "700:2", "--no-channel"},
        &options, &error))
        << error;
    EXPECT_EQ(options.helperPath, "C:\\bin\\LumoDiscoveryHelper.exe");
    EXPECT_EQ(options.helperArguments, "-d");
    EXPECT_EQ(options.exitAfterMs, 4500);
    EXPECT_EQ(options.closeAfterMs, 0);
    EXPECT_EQ(options.runMs, 9000);
    EXPECT_EQ(options.exitOnLine, "stop");
    ASSERT_EQ(options.sends.size(), 2u);
    EXPECT_EQ(options.sends[0].atMs, 100);
    EXPECT_EQ(options.sends[0].code, 1002u);
    EXPECT_EQ(options.sends[0].data, (std::vector<std::uint8_t>{0x0A, 0x0B}));
    EXPECT_EQ(options.sends[1].code, 1001u);
    EXPECT_TRUE(options.sends[1].data.empty());
    ASSERT_EQ(options.controlEvents.size(), 1u);
    EXPECT_EQ(options.controlEvents[0].atMs, 700);
    EXPECT_EQ(options.controlEvents[0].eventType, 2u);
    EXPECT_FALSE(options.createChannel);
}

TEST(PluginSimOptions, BadCommandLinesAreRefusedWithTheirReason) {
    const struct {
        std::vector<std::string> arguments;
        const char* reason;
    } cases[] = {
        {{"--bogus"}, "unknown argument --bogus"},
        {{"extra"}, "unknown argument extra"},
        {{"--exit-after"}, "--exit-after needs a value"},
        {{"--exit-after", "-5"}, "bad value for --exit-after: -5"},
        {{"--run-ms", "12ms"}, "bad value for --run-ms: 12ms"},
        {{"--send", "100"}, "bad value for --send: 100"},
        {{"--send", "100:"}, "bad value for --send: 100:"},
        {{"--send", "100:7:abc"}, "bad value for --send: 100:7:abc"},
        {{"--send", "100:7:zz"}, "bad value for --send: 100:7:zz"},
        {{"--send", "100:0x100000000"}, "bad value for --send: 100:0x100000000"},
        {{"--debug"}, "--debug, --helper-args and --ctrl-event need --start"},
        {{"--ctrl-event", "5:2"}, "--debug, --helper-args and --ctrl-event need --start"},
        {{"--start", "x", "--ctrl-event", "5"}, "bad value for --ctrl-event: 5"},
    };
    for (const auto& c : cases) {
        Options options;
        std::string error;
        EXPECT_FALSE(ParseOptions(c.arguments, &options, &error)) << c.reason;
        EXPECT_EQ(error, c.reason);
    }
}

}  // namespace
}  // namespace PluginSim
