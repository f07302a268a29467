#include "lumo/api/client.h"
#include "lumo/api/display_texts.h"
#include "service_api/client/command_sender.h"
#include "service_api/core/core.h"
#include "tests/service_api_client/connected_client.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {
namespace {

// Expected payloads, spelled out field by field.
class Wire {
  public:
    Wire& U8(std::uint8_t value) { return Unsigned(value, 1); }
    Wire& U32(std::uint32_t value) { return Unsigned(value, 4); }
    Wire& U64(std::uint64_t value) { return Unsigned(value, 8); }
    Wire& Zeros(std::size_t count) {
        bytes.insert(bytes.end(), count, 0);
        return *this;
    }
    Wire& Ascii(const std::string& text) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        return *this;
    }
    // Each character as one UTF-16 unit.
    Wire& Units(const std::string& text) {
        for (char c : text) {
            U8(static_cast<std::uint8_t>(c)).U8(0);
        }
        return *this;
    }
    Wire& Double(double value) {
        std::uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        return U64(bits);
    }

    std::vector<std::uint8_t> bytes;

  private:
    Wire& Unsigned(std::uint64_t value, int width) {
        for (int i = 0; i < width; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
        return *this;
    }
};

using Command = std::function<XeLUMOResult(Client&)>;

struct CommandForm {
    const char* name;
    Command send;
    std::uint32_t messageId;
    std::uint32_t chunkValue;
    std::vector<std::uint8_t> payload;
};

std::vector<CommandForm> EveryCommandForm() {
    const std::uint8_t data[] = {0xDE, 0xAD, 0xBE};
    const std::uint8_t two[2] = {0x12, 0x34};
    const std::wstring longText(300, L'x');
    // clang-format off
#define LUMO_BARE(id) {#id, [](Client& c) { return c.SendRequest##id(); }, id, 0, {}},
#define LUMO_SUB_BARE(sub, id) {#id, [](Client& c) { return c.sub().SendRequest##id(); }, id, 0, {}},
    return {
        LUMO_BARE(2008) LUMO_BARE(2010) LUMO_BARE(2012) LUMO_BARE(2013) LUMO_BARE(2014) LUMO_BARE(2020)
        LUMO_BARE(2021) LUMO_BARE(2023) LUMO_BARE(2024) LUMO_BARE(2030) LUMO_BARE(2031) LUMO_BARE(2080)
        LUMO_BARE(2081) LUMO_BARE(2082) LUMO_BARE(2083) LUMO_BARE(2200) LUMO_BARE(2201) LUMO_BARE(2206)
        LUMO_BARE(2211) LUMO_BARE(2216) LUMO_BARE(2217) LUMO_BARE(2220) LUMO_BARE(2221) LUMO_BARE(2222)
        LUMO_BARE(2223) LUMO_BARE(2224) LUMO_BARE(2233) LUMO_BARE(1021)
        LUMO_SUB_BARE(GetDisplayClient, 2067) LUMO_SUB_BARE(GetDisplayClient, 2061)
        LUMO_SUB_BARE(GetDcScriptClient, 2228) LUMO_SUB_BARE(GetDcScriptClient, 2229) LUMO_SUB_BARE(GetDcScriptClient, 2230)
        {"2002 four values", [](Client& c) { return c.SendRequest2002(1, 2, 3, 4); }, 2002, 0, Wire().U32(0).U32(0).U32(1).U32(2).U32(3).U32(4).U32(0).Zeros(56).bytes},
        {"2002 two values", [](Client& c) { return c.SendRequest2002(7, 9); }, 2002, 0, Wire().U32(7).U32(1).U32(0).U32(0).U32(0).U32(9).Zeros(60).bytes},
        {"2004", [](Client& c) { return c.SendRequest2004(1, 2, 3, 4, 5); }, 2004, 0, Wire().U32(1).U32(2).U32(3).U32(4).U32(5).Zeros(260).bytes},
        {"2005", [](Client& c) { return c.SendRequest2005(-2); }, 2005, 0xFFFFFFFE, {}},
        {"2007", [](Client& c) { return c.SendRequest2007(5, L"ab"); }, 2007, 0, Wire().U32(5).Units("ab").Zeros(512).bytes},
        {"2007 cut at 256 units", [longText](Client& c) { return c.SendRequest2007(5, longText); }, 2007, 0, Wire().U32(5).Units(std::string(256, 'x')).Zeros(4).bytes},
        {"2007 ends at an embedded zero", [](Client& c) { return c.SendRequest2007(5, std::wstring(L"ab\0cd", 5)); }, 2007, 0, Wire().U32(5).Units("ab").Zeros(512).bytes},
        {"2009", [](Client& c) { return c.SendRequest2009(9); }, 2009, 9, {}},
        {"2011", [](Client& c) { return c.SendRequest2011(0x0102030405060708); }, 2011, 0, Wire().U64(0x0102030405060708).Zeros(64).bytes},
        {"2016", [data](Client& c) { return c.SendRequest2016(1, 2, 3, data, 3); }, 2016, 0, Wire().U32(1).U32(2).U32(3).Zeros(36).U8(0xDE).U8(0xAD).U8(0xBE).bytes},
        {"2016 without data", [](Client& c) { return c.SendRequest2016(1, 2, 3, nullptr, 0); }, 2016, 0, Wire().U32(1).U32(2).U32(3).Zeros(36).bytes},
        {"2019", [](Client& c) { return c.SendRequest2019(-1); }, 2019, 0xFFFFFFFF, {}},
        {"2022", [](Client& c) { return c.SendRequest2022(0xA0B0C0D0); }, 2022, 0, Wire().U32(0xA0B0C0D0).Zeros(256).bytes},
        {"2100", [two](Client& c) { return c.SendRequest2100(two); }, 2100, 0, {0x12, 0x34}},
        {"2203", [](Client& c) { return c.SendRequest2203({3, 4}); }, 2203, 0, Wire().U32(3).U32(4).bytes},
        {"2204", [](Client& c) { return c.SendRequest2204({3, L"hi"}); }, 2204, 0, Wire().U32(3).U32(2).Units("hi").bytes},
        {"2205", [](Client& c) { return c.SendRequest2205({3, {7, 8}}); }, 2205, 0, Wire().U32(3).U32(2).U32(7).U32(8).bytes},
        {"2207", [](Client& c) { return c.SendRequest2207({3, -1, 2}); }, 2207, 0, Wire().U32(3).U32(0xFFFFFFFF).U32(2).bytes},
        {"2212", [](Client& c) { return c.SendRequest2212({3, "ab"}); }, 2212, 0, Wire().U32(3).U32(2).Ascii("ab").bytes},
        {"2214", [](Client& c) { return c.SendRequest2214(6, 0.5); }, 2214, 0, Wire().U8(0).U32(6).Double(0.5).bytes},
        {"2220 second form", [](Client& c) { return c.SendRequest2220SecondForm(); }, 2220, 1, {}},
        {"display 2065", [](Client& c) { c.GetDisplayClient().SetDisplayText(L"me"); return c.GetDisplayClient().SendRequest2065(L"hello"); }, 2065, 0, Wire().U32(2).Units("me").U32(5).Units("hello").bytes},
        {"display 2066", [](Client& c) { return c.GetDisplayClient().SendRequest2066({L"a", L"bc"}); }, 2066, 0, Wire().U32(2).U32(1).Units("a").U32(2).Units("bc").bytes},
        {"script 2227 with arguments", [](Client& c) { return c.GetDcScriptClient().SendRequest2227(9, {{L"k", L"vw"}}); }, 2227, 0, Wire().U32(9).U32(1).U32(1).Units("k").U32(2).Units("vw").U8(0).bytes},
        {"script 2227 without arguments", [](Client& c) { return c.GetDcScriptClient().SendRequest2227(9); }, 2227, 0, Wire().U32(9).U32(0).U8(0).bytes},
        {"wrtl 2300", [](Client& c) { return c.GetWrtlClient().SendRequest2300(-3); }, 2300, 0xFFFFFFFD, {}},
        {"wrtl 2301", [](Client& c) { return c.GetWrtlClient().SendRequest2301(1, 2); }, 2301, 0, Wire().U32(1).U32(2).U32(0).bytes},
    };
#undef LUMO_BARE
#undef LUMO_SUB_BARE
    // clang-format on
}

using ClientCommandsTest = ConnectedClientTest;

TEST_F(ClientCommandsTest, EveryCommandFormSendsItsRequest) {
    Connect();
    const WindowHandle clientWindow = ClientWindow();
    for (const CommandForm& form : EveryCommandForm()) {
        const std::size_t before = m_service.Received().size();
        ASSERT_EQ(form.send(*m_client), LUMO_SUCCESS) << form.name;
        ASSERT_EQ(m_service.Received().size(), before + 1) << form.name;
        const std::vector<std::uint8_t>& block = m_service.Received().back();
        ASSERT_GE(block.size(), 60u) << form.name;
        EXPECT_EQ(U32At(block, 0), form.messageId) << form.name;
        EXPECT_EQ(U32At(block, 4), form.chunkValue) << form.name;
        EXPECT_EQ(U32At(block, 8), 0u) << form.name;
        EXPECT_EQ(U32At(block, 12), form.payload.size() + 28) << form.name;
        EXPECT_EQ(U32At(block, 32), static_cast<std::uint32_t>(clientWindow)) << form.name;
        EXPECT_EQ(std::vector<std::uint8_t>(block.begin() + 60, block.end()), form.payload)
            << form.name;
    }
}

// Writes a count of 2^32, as a container of more elements than a count can say would.
struct Uncountable {
    template <class Archive>
    void Serialize(Archive& archive) {
        archive.WriteCount(std::size_t{1} << 32);
    }
};

TEST_F(ClientCommandsTest, RequestsThatCannotBeSentAreRefusedWithoutSending) {
    Connect();
    Display::ICommands& display = m_client->GetDisplayClient();
    display.SetDisplayText(L"owner");
    EXPECT_TRUE(display.HasDisplayText());
    display.ClearDisplayText();
    const std::uint8_t byte = 0;
    Core unstarted;  // the refusal comes before the core's own (2)
    const struct {
        const char* name;
        std::function<XeLUMOResult()> send;
        XeLUMOResult expected;
    } cases[] = {
        {"2065 without a stored text", [&] { return display.SendRequest2065(L"x"); },
         LUMO_BAD_PARAMETER},
        // 48 + size is one byte more than a message can carry.
        {"2016 of 4 GiB",
         [&] { return m_client->SendRequest2016(1, 2, 3, &byte, UINT32_MAX - 107); },
         LUMO_BAD_PARAMETER},
        {"2016 without its data", [&] { return m_client->SendRequest2016(1, 2, 3, nullptr, 4); },
         LUMO_BAD_PARAMETER},
        {"a count above 32 bits", [&] { return SendSerialized(unstarted, 2066, Uncountable{}); },
         LUMO_TOO_MANY_ELEMENTS},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(each.send(), each.expected) << each.name;
    }
    EXPECT_EQ(m_service.ReceivedCodes(), std::vector<std::uint32_t>{2000});
}

// The record's bytes for a given time and text are the access record's own test.
TEST_F(ClientCommandsTest, AccessRequestSendsTheRecordOfNow) {
    Connect();
    const std::int64_t before = std::time(nullptr);
    ASSERT_EQ(m_client->SendRequest1022("secret"), LUMO_SUCCESS);
    const std::int64_t after = std::time(nullptr);
    const std::vector<std::uint8_t>& block = m_service.Received().back();
    ASSERT_EQ(block.size(), 60u + 80u);
    std::int64_t sent;
    std::memcpy(&sent, block.data() + 60 + 72, sizeof sent);
    EXPECT_GE(sent, before);
    EXPECT_LE(sent, after);
}

TEST(ClientParameters, TheTableHoldsThe33ParametersOnly) {
    FakeMessageWindow desktop;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> installed{desktop};
    RecordingClient client;
    const ParameterNames& names = client.GetParameterNames();
    ASSERT_EQ(names.size(), 33u);
    const ParameterDescriptor adapter = client.GetParameter(2026);
    EXPECT_EQ(std::wstring(adapter.name),
              L"Description of Ethernet adapter used to connect to the Arm");
    EXPECT_EQ(adapter.valueType, 1);
    EXPECT_EQ(adapter.category, 2);
    EXPECT_EQ(std::wstring(client.GetParameter(11).name), L"Scanning - capture mode");
    EXPECT_EQ(std::wstring(client.GetParameter(2013).name), L"Scanning - Max keystone V2");
    EXPECT_EQ(client.GetParameter(2013).valueType, 6);
    for (std::int32_t missing : {4, 5, 2010, 2011, 2012, 2018, 2022}) {
        try {
            client.GetParameter(missing);
            ADD_FAILURE() << missing << " is not a parameter";
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "invalid map<K, T> key");
        }
    }
}

TEST(DisplayTexts, OwnershipAndNumbersFittedToAField) {
    using namespace Display;
    EXPECT_STREQ(OwnershipText(OwnedByAnotherApplicationSoftware),
                 L"OwnedByAnotherApplicationSoftware");
    for (int invalid : {4, -1}) {
        EXPECT_STREQ(OwnershipText(static_cast<XeLUMODisplayOwnership>(invalid)),
                     L"XeLUMODisplayOwnership invalid value");
    }
    const struct {
        double value;
        std::uint8_t width;
        const wchar_t* text;
    } cases[] = {
        {1.5, 18, L"1.5"},   {123.25, 18, L"123"}, {12345.0, 18, L"XXX"}, {1.26, 20, L"1.3"},
        {1.26, 21, L"1.26"}, {-1.5, 18, L"-2"},    {0.0, 0, L"XXX"},      {3.14159, 48, L"3.1416"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(FormatForField(each.value, each.width), each.text)
            << each.value << " in width " << int{each.width};
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api::testing
