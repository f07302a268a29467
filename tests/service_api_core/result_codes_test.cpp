#include "service_api/core/result_codes.h"

#include <gtest/gtest.h>

#include <string>

namespace Quorvel::Lumo::Api {
namespace {

struct ResultTextCase {
    std::uint32_t code;
    const wchar_t* text;
};

// Every code with its text as the service's documentation words it, the unknown codes
// around the gaps, and the terminator's own value, which must not match.
const ResultTextCase kResultTextCases[] = {
    {0, L"Success"},
    {1, L"Unexpected error"},
    {2, L"Client must be registered before executing a request"},
    {3, L"Execution failed"},
    {4, L"An invalid handle has been provided"},
    {5, L"A provided parameter has a bad value"},
    {6, L"Client is already registered"},
    {7, L"LUMO Service internal error"},
    {8, L"An arm/tracker must be connected in order to execute this request"},
    {9, L"This feature is not available on this version of LUMO"},
    {10, L"Something is not correctly initialized"},
    {11, L"This request is not supported by the arm"},
    {12, L"Given value is not supported"},
    {13, L"Version issue"},
    {14, L"This request is not supported by the probe"},
    {15, L"The device is not available"},
    {16, L"?"},
    {17, L"No answer from hardware"},
    {18, L"Bad answer from hardware"},
    {19, L"No answer"},
    {20, L"Access denied"},
    {21, L"Too many elements"},
    {22, L"Requirements not met"},
    {23, L"The requested command is obsolete"},
    {24, L"API server is not available"},
    {25, L"API Client has already been started"},
    {26, L"?"},
    {999, L"?"},
    {1000, L"The action corresponding to the requested command successfully started"},
    {1001, L"Request rejected due to ongoing reconfiguration"},
    {1002, L"Instrument is currently busy with an another operation"},
    {1003, L"Probe must be aligned in order to execute this request"},
    {1004, L"Probe must be locked on to the tracker in order to execute this request"},
    {1005, L"?"},
    {0xFFFFFFFEu, L"?"},
    {0xFFFFFFFFu, L"?"},
};

TEST(ResultText, EachCodeHasItsFixedTextAndUnknownCodesYieldQuestionMark) {
    for (const ResultTextCase& c : kResultTextCases) {
        const wchar_t* text = GetResultText(static_cast<XeLUMOResult>(c.code));
        ASSERT_NE(text, nullptr) << c.code;
        EXPECT_EQ(std::wstring(text), std::wstring(c.text)) << "code " << c.code;
    }
}

TEST(ResultText, CodesTheTransportProducesNameTheirTexts) {
    EXPECT_EQ(std::wstring(GetResultText(LUMO_EXECUTION_FAILED)), L"Execution failed");
    EXPECT_EQ(std::wstring(GetResultText(LUMO_INVALID_HANDLE)),
              L"An invalid handle has been provided");
    EXPECT_EQ(std::wstring(GetResultText(LUMO_BAD_PARAMETER)),
              L"A provided parameter has a bad value");
    EXPECT_EQ(std::wstring(GetResultText(LUMO_NOT_INITIALIZED)),
              L"Something is not correctly initialized");
}

TEST(ResultText, TextsLiveForTheWholeRun) {
    for (std::uint32_t code : {0u, 1002u, 16u}) {
        const auto value = static_cast<XeLUMOResult>(code);
        EXPECT_EQ(GetResultText(value), GetResultText(value)) << code;
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
