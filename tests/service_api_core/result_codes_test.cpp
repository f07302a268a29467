#include "lumo/api/result_codes.h"

#include <gtest/gtest.h>

#include <string>

namespace Quorvel::Lumo::Api {
namespace {

// A few texts, the gap at 16, the codes past each block, and the terminator's own value,
// which must not match.
TEST(ResultText, KnownCodesHaveTheirTextOthersAQuestionMark) {
    const struct {
        std::uint32_t code;
        const wchar_t* text;
    } cases[] = {
        {0, L"Success"},
        {15, L"The device is not available"},
        {16, L"?"},
        {25, L"API Client has already been started"},
        {26, L"?"},
        {1002, L"Instrument is currently busy with an another operation"},
        {1004, L"Probe must be locked on to the tracker in order to execute this request"},
        {1005, L"?"},
        {0xFFFFFFFFu, L"?"},
    };
    for (const auto& c : cases) {
        const wchar_t* text = GetResultText(static_cast<XeLUMOResult>(c.code));
        ASSERT_NE(text, nullptr) << c.code;
        EXPECT_EQ(std::wstring(text), std::wstring(c.text)) << "code " << c.code;
        EXPECT_EQ(GetResultText(static_cast<XeLUMOResult>(c.code)), text) << "a stable text";
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
