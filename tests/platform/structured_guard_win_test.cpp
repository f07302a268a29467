#include "platform/structured_guard.h"
#include "platform/windows_api.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace Orvane::Platform {
namespace {

std::vector<DWORD> faults;  // codes seen by the handler, in order

void RecordFault(ExceptionPointers* exception) {
    faults.push_back(exception->ExceptionRecord->ExceptionCode);
}
// The handler of an outer guard marks what it sees with the top bit.
void RecordOuterFault(ExceptionPointers* exception) {
    faults.push_back(0x80000000u | exception->ExceptionRecord->ExceptionCode);
}

int* volatile nowhere = nullptr;  // volatile, so the compiler cannot see the null

struct Steps {
    bool before = false;
    bool after = false;
};

void AccessViolation(void* context) {
    static_cast<Steps*>(context)->before = true;
    *nowhere = 1;
    static_cast<Steps*>(context)->after = true;
}

void SoftwareException(void* context) {
    static_cast<Steps*>(context)->before = true;
    RaiseException(0xE0004C55, 0, 0, nullptr);
    static_cast<Steps*>(context)->after = true;
}

// The system raises exceptions of its own to deliver debugger texts and handles them itself;
// they must not look like faults.
void WritesDebuggerTexts(void* context) {
    static_cast<Steps*>(context)->before = true;
    OutputDebugStringA("structured guard test\n");
    OutputDebugStringW(L"structured guard test\n");
    static_cast<Steps*>(context)->after = true;
}

// An inner guard handles its own fault and leaves the next one to the outer guard.
void InnerGuardThenFault(void* context) {
    Steps inner;
    RunStructuredGuarded(AccessViolation, &inner, RecordFault);
    AccessViolation(context);
}

void Harmless(void* context) {
    static_cast<Steps*>(context)->before = true;
    static_cast<Steps*>(context)->after = true;
}

TEST(StructuredGuard, StructuredExceptionsReachTheHandlerAndEndTheRun) {
    struct Case {
        void (*body)(void*);
        std::vector<DWORD> faults;
        bool after;
    };
    const Case cases[] = {
        {AccessViolation, {0x80000000u | 0xC0000005}, false},
        {SoftwareException, {0x80000000u | 0xE0004C55}, false},
        {InnerGuardThenFault, {0xC0000005, 0x80000000u | 0xC0000005}, false},
        {WritesDebuggerTexts, {}, true},
        {Harmless, {}, true},
    };
    for (const Case& c : cases) {
        faults.clear();
        Steps steps;
        RunStructuredGuarded(c.body, &steps, RecordOuterFault);
        EXPECT_TRUE(steps.before);
        EXPECT_EQ(steps.after, c.after);
        EXPECT_EQ(faults, c.faults);
    }
}

void CatchesItsOwn(void* context) {
    try {
        throw std::runtime_error("inside");
    } catch (const std::runtime_error&) {
        *static_cast<bool*>(context) = true;
    }
}

struct Cleanup {
    bool* ran;
    ~Cleanup() { *ran = true; }
};

void LetsOneOut(void* context) {
    Cleanup cleanup{static_cast<bool*>(context)};
    throw std::logic_error("outside");
}

TEST(StructuredGuard, CppExceptionsCaughtInsideStayThereAnEscapingOneEndsTheRun) {
    faults.clear();
    bool caught = false;
    RunStructuredGuarded(CatchesItsOwn, &caught, RecordFault);
    EXPECT_TRUE(caught);
    EXPECT_TRUE(faults.empty());
    bool cleanedUp = false;
    RunStructuredGuarded(LetsOneOut, &cleanedUp, RecordFault);
    EXPECT_EQ(faults, std::vector<DWORD>{0x20474343}) << "GCC's C++ exception code";
    EXPECT_TRUE(cleanedUp) << "the frames between were unwound";
}

}  // namespace
}  // namespace Orvane::Platform
