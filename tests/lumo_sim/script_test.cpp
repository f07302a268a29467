#include "tools/lumo-sim/script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace LumoSim {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

SimSettings Applied(const std::string& text) {
    const Script script = ParseScript(text);
    EXPECT_THAT(script.errors, ElementsAre());
    SimSettings settings;
    for (const Command& command : script.commands) {
        EXPECT_EQ(command.kind, CommandKind::Set) << command.text;
        command.apply(settings);
    }
    return settings;
}

TEST(Script, WaitsAndWindowCommandsKeepTheirArgumentsAndLines) {
    const Script script = ParseScript(
        "# the service appears\n"
        "\n"
        "wait 1500\r\n"
        "  wait-registered\t0x10\n"
        "wait-unregistered 7\n"
        "wait-message 2005 250\n"
        "broadcast\n"
        "destroy-window\n"
        "create-window");
    ASSERT_THAT(script.errors, ElementsAre());
    ASSERT_EQ(script.commands.size(), 7u);
    struct Expected {
        CommandKind kind;
        int line;
        std::uint32_t ms;
        std::uint32_t id;
    };
    const Expected expected[] = {
        {CommandKind::Wait, 3, 1500, 0},          {CommandKind::WaitRegistered, 4, 16, 0},
        {CommandKind::WaitUnregistered, 5, 7, 0}, {CommandKind::WaitMessage, 6, 250, 2005},
        {CommandKind::Broadcast, 7, 0, 0},        {CommandKind::DestroyWindow, 8, 0, 0},
        {CommandKind::CreateWindow, 9, 0, 0},
    };
    for (std::size_t i = 0; i < script.commands.size(); ++i) {
        const Command& c = script.commands[i];
        EXPECT_EQ(c.kind, expected[i].kind) << i;
        EXPECT_EQ(c.lineNumber, expected[i].line) << i;
        EXPECT_EQ(c.milliseconds, expected[i].ms) << i;
        EXPECT_EQ(c.messageId, expected[i].id) << i;
    }
    EXPECT_EQ(script.commands[0].text, "wait 1500");
}

TEST(Script, SettingsChangeOnlyWhatTheyName) {
    const SimSettings defaults;
    const SimSettings s = Applied(
        "set type -7\n"
        "set subtype 255\n"
        "set name  Arm \xC3\xA9 1\n"
        "set version1 4294967295.12\n"
        "set version2 3.255\n"
        "set record-size 10\n"
        "set status 0x001FFFFF\n"
        "set key 0123456789abcdef\n"
        "set accept off\n");
    EXPECT_EQ(s.instrument.type, -7);
    EXPECT_EQ(s.instrument.subType, 255);
    EXPECT_EQ(s.instrument.name, u" Arm \u00E9 1");  // one blank separates, the rest is text
    EXPECT_FALSE(s.instrument.nameFillsRecord);
    EXPECT_EQ(s.instrument.version1Major, 4294967295u);
    EXPECT_EQ(s.instrument.version1Minor, 12);
    EXPECT_EQ(s.instrument.version2Major, 3);
    EXPECT_EQ(s.instrument.version2Minor, 255);
    EXPECT_EQ(s.instrument.recordSize, 10u);
    EXPECT_EQ(s.measurementStatus, 0x001FFFFFu);
    EXPECT_THAT(s.clientKey, ElementsAre(0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF));
    EXPECT_FALSE(s.acceptMessages);

    EXPECT_EQ(defaults.instrument.recordSize, 700u);
    EXPECT_THAT(defaults.clientKey, ElementsAre(0, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_TRUE(defaults.acceptMessages);

    const SimSettings filled = Applied("set name-fill AB\nset name\n");
    EXPECT_EQ(filled.instrument.name, u"");
    EXPECT_FALSE(filled.instrument.nameFillsRecord);
    EXPECT_TRUE(Applied("set name-fill AB").instrument.nameFillsRecord);
}

TEST(Script, SendsBuildTheirMessagesFromTheSettingsAtSendTime) {
    const Script script = ParseScript(
        "send measurement\n"
        "send measurement 0x00200001\n"
        "send reply 2005 3 0a0B\n"
        "send reply 2016 0\n"
        "send shutdown\n"
        "send message 2210 1 4294967295 ff\n"
        "send instrument\n");
    ASSERT_THAT(script.errors, ElementsAre());
    SimSettings settings;
    settings.measurementStatus = 0x12345678;
    settings.instrument.recordSize = 3;
    settings.instrument.version1Minor = 9;
    struct Expected {
        std::uint32_t id, a1, a2;
        std::vector<std::uint8_t> payloadStart;
        std::size_t payloadSize;
    };
    const Expected expected[] = {
        {1002, 0, 0, {0x78, 0x56, 0x34, 0x12}, 64},
        {1002, 0, 0, {0x01, 0x00, 0x20, 0x00}, 64},
        {1004, 2005, 3, {0x0A, 0x0B}, 2},
        {1004, 2016, 0, {}, 0},
        {1005, 0, 0, {}, 0},
        {2210, 1, 0xFFFFFFFF, {0xFF}, 1},
        {1000, 0, 0, {9, 1, 0}, 3},
    };
    ASSERT_EQ(script.commands.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(script.commands[i].text);
        ASSERT_EQ(script.commands[i].kind, CommandKind::Send);
        const ServiceMessage m = script.commands[i].message(settings);
        EXPECT_EQ(m.messageId, expected[i].id);
        EXPECT_EQ(m.argument1, expected[i].a1);
        EXPECT_EQ(m.argument2, expected[i].a2);
        ASSERT_EQ(m.payload.size(), expected[i].payloadSize);
        EXPECT_THAT(std::vector<std::uint8_t>(m.payload.begin(),
                                              m.payload.begin() + expected[i].payloadStart.size()),
                    ElementsAreArray(expected[i].payloadStart));
    }
}

TEST(Script, EveryBadLineIsReportedWithItsNumberAndNothingElseRuns) {
    struct Bad {
        const char* line;
        const char* says;
    };
    const Bad cases[] = {
        {"sned instrument", "unknown command 'sned'"},
        {"set colour red", "unknown command 'set colour'"},
        {"send", "expected what to send"},
        {"wait", "expected milliseconds"},
        {"wait -5", "expected milliseconds"},
        {"wait 4294967296", "expected milliseconds"},
        {"wait 10 20", "expected milliseconds"},
        {"wait-message 2005", "expected MESSAGE-ID MILLISECONDS"},
        {"broadcast now", "expected no arguments"},
        {"set type 2147483648", "expected a signed 32-bit type"},
        {"set type -2147483649", "expected a signed 32-bit type"},
        {"set subtype 256", "expected a sub-type up to 255"},
        {"set version1 4", "expected MAJOR.MINOR"},
        {"set version2 256.1", "expected MAJOR.MINOR (each up to 255)"},
        {"set version1 1.256", "expected MAJOR.MINOR"},
        {"set record-size 65536", "expected a record size"},
        {"set key 0123", "expected 16 hexadecimal digits"},
        {"set key 0123456789abcdeg", "expected 16 hexadecimal digits"},
        {"set accept maybe", "expected on or off"},
        {"set name \xC3(", "not valid UTF-8"},
        {"set name-fill", "expected a text to repeat"},
        {"send measurement 0x", "expected a status word"},
        {"send reply 2005", "expected ANSWERED-CODE RESULT"},
        {"send reply 2005 0 abc", "expected ANSWERED-CODE RESULT"},
        {"send message 1 2", "expected MESSAGE-ID ARGUMENT1 ARGUMENT2"},
        {"send shutdown now", "expected no arguments"},
    };
    for (const Bad& c : cases) {
        const Script script = ParseScript(std::string("wait 1\n") + c.line + "\n");
        ASSERT_EQ(script.errors.size(), 1u) << c.line;
        EXPECT_THAT(script.errors[0], HasSubstr("line 2: ")) << c.line;
        EXPECT_THAT(script.errors[0], HasSubstr(c.says)) << c.line;
    }
}

TEST(Script, NameLengthStopsWhereTheTypeFieldBegins) {
    EXPECT_THAT(ParseScript("set name " + std::string(197, 'n')).errors, ElementsAre());
    EXPECT_THAT(ParseScript("set name " + std::string(198, 'n')).errors,
                ElementsAre(HasSubstr("more than 197 UTF-16 units")));
    // A character beyond the basic plane takes two units.
    std::string wide;
    for (int i = 0; i < 99; ++i) {
        wide += "\xF0\x9F\x98\x80";
    }
    EXPECT_THAT(ParseScript("set name " + wide).errors, ElementsAre(HasSubstr("more than")));
}

}  // namespace
}  // namespace LumoSim
