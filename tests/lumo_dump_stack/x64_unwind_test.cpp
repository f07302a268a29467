// The unwinder over hand-made unwind data: one image whose function table holds one function
// at 0x1000..0x1100 with its unwind information at 0x200, and a stack at 0x8000.
#include "tools/lumo-dump/lib/x64_unwind.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "tools/lumo-dump/lib/thread_stacks.h"

namespace LumoDump {
namespace {

constexpr std::uint64_t kRsp = 0x8000;
constexpr std::uint64_t kReturn = 0x140001234;
constexpr std::uint64_t kSavedRbx = 0xB0B0;
constexpr int kRbx = 3;
constexpr int kRbp = 5;

struct Image {
    std::vector<std::uint8_t> bytes = std::vector<std::uint8_t>(0x2000, 0x90);

    void Put(std::uint32_t rva, std::vector<std::uint8_t> data) {
        std::copy(data.begin(), data.end(), bytes.begin() + rva);
    }
    UnwindImage Unwind() const {
        return {[this](std::uint32_t rva,
                       std::uint32_t size) -> std::optional<std::span<const std::uint8_t>> {
                    if (rva > bytes.size() || size > bytes.size() - rva) {
                        return std::nullopt;
                    }
                    return std::span(bytes).subspan(rva, size);
                },
                0x100, 12};
    }
};

Image WithFunction(std::vector<std::uint8_t> unwindInfo) {
    Image image;
    image.Put(0x100, {0x00, 0x10, 0, 0, 0x00, 0x11, 0, 0, 0x00, 0x02, 0, 0});
    image.Put(0x200, std::move(unwindInfo));
    return image;
}

StackBytes StackOf(const std::vector<std::uint64_t>& slots, std::uint64_t at = kRsp) {
    return [slots, at](std::uint64_t address) -> std::optional<std::uint64_t> {
        if (address < at || (address - at) / 8 >= slots.size()) {
            return std::nullopt;
        }
        return slots[(address - at) / 8];
    };
}

// push rbx at 1, sub rsp, 0x20 at 5
const std::vector<std::uint8_t> kPushAndAllocate{1, 5, 2, 0, 5, 0x32, 1, 0x30};
// push rbp at 1, sub rsp, 0x30 at 5, lea rbp, [rsp + 0x10] at 10, mov [rbp - 0x10 + 24], rbx
const std::vector<std::uint8_t> kFramePointer{1, 14, 5,    0x15, 14,   0x34, 3,
                                              0, 10, 0x03, 5,    0x52, 1,    0x50};
constexpr std::uint64_t kFrameBase = kRsp + 0x40;  // rbp - 0x10: below it, a dynamic allocation

TEST(X64Unwind, UndoesEachCodeOfTheFunctionsUnwindInformation) {
    const std::uint64_t x = 0xEEEE;
    struct Case {
        const char* name;
        std::vector<std::uint8_t> info;
        std::uint32_t rva;
        bool atInstruction;
        std::vector<std::uint64_t> stack;
        Unwound how;
        std::uint64_t rip = kReturn;
        std::uint64_t rsp = 0;
        std::uint64_t rbx = kSavedRbx;
        std::uint16_t known = 0xFFFF;
        std::vector<std::uint8_t> code = {};  // at 0x1040
    };
    const std::vector<std::uint64_t> framed{x, x, x, x,         x, x, x,    x,
                                            x, x, x, kSavedRbx, x, x, 0xBB, kReturn};
    const std::vector<std::uint64_t> pushed{kSavedRbx, kReturn};
    const std::vector<std::uint64_t> allocated{x, x, x, x, kSavedRbx, kReturn};
    // push rbx; mov eax, size; call the probe; sub rsp, rax
    const std::vector<std::uint8_t> probing{1, 18, 3, 0, 18, 0x01, 0x00, 0x02, 1, 0x30};
    const std::vector<std::uint8_t> version2{2, 5, 4, 0, 6, 0x16, 0, 0, 5, 0x32, 1, 0x30};
    const std::vector<std::uint8_t> epilogue{0x48, 0x83, 0xC4, 0x20, 0x5B, 0xC3};
    // lea rsp, [rbp + 0x20]; pop rbp; jmp out of the function
    const std::vector<std::uint8_t> leaveByJump{0x48, 0x8D, 0x65, 0x20, 0x5D,
                                                0xE9, 0x00, 0x10, 0x00, 0x00};
    const Case cases[] = {
        {"inside the prologue, only what ran", kPushAndAllocate, 0x1001, true, pushed,
         Unwound::kCaller, kReturn, kRsp + 0x10},
        {"a return address in the prologue, from a stack probe, undoes what ran before it", probing,
         0x100B, false, pushed, Unwound::kCaller, kReturn, kRsp + 0x10},
        {"in an epilogue, after add rsp, at a pop: its rest is run", kPushAndAllocate, 0x1044, true,
         pushed, Unwound::kCaller, kReturn, kRsp + 0x10, kSavedRbx, 0xFFFF, epilogue},
        {"version 2: an epilogue's code is passed over by its two slots", version2, 0x1044, true,
         pushed, Unwound::kCaller, kReturn, kRsp + 0x10, kSavedRbx, 0xFFFF, epilogue},
        {"an epilogue through the frame register, ending in a jump out", kFramePointer, 0x1040,
         true, framed, Unwound::kCaller, kReturn, kFrameBase + 0x40, 0x1111, 0xFFFF, leaveByJump},
        {"a return address at the function's end is the call's", kPushAndAllocate, 0x1100, false,
         allocated, Unwound::kCaller, kReturn, kRsp + 0x30},
        {"large allocation in bytes",
         {1, 0, 3, 0, 0, 0x11, 0x18, 0, 0, 0},
         0x1010,
         true,
         {x, x, x, kReturn},
         Unwound::kCaller,
         kReturn,
         kRsp + 0x20,
         0x1111},
        {"far save; xmm saves skipped by their size",
         {1, 9, 9, 0, 9, 0x69, 0, 1, 0, 0, 9, 0x78, 1, 0, 9, 0x35, 8, 0, 0, 0, 4, 0x22},
         0x1010,
         true,
         {x, kSavedRbx, x, kReturn},
         Unwound::kCaller,
         kReturn,
         kRsp + 0x20},
        {"machine frame with an error code",
         {1, 0, 1, 0, 0, 0x1A},
         0x1010,
         true,
         {x, 0x140002000, 0x33, 0x246, 0x9000, 0x2B},
         Unwound::kInterrupted,
         0x140002000,
         0x9000,
         0x1111},
        {"chained with a frame register: saves are read from the frame base",
         {0x21, 0, 2, 0x15, 0, 0x34, 3, 0, 0x00, 0x10, 0, 0, 0x00, 0x11, 0, 0, 0x80, 0x02, 0, 0},
         0x1050,
         true,
         framed,
         Unwound::kCaller,
         kReturn,
         kFrameBase + 0x40},
        {"unknown operation", {1, 0, 1, 0, 0, 0x0B}, 0x1010, true, {}, Unwound::kBadUnwindData},
        {"operation cut short", {1, 0, 1, 0, 0, 0x01}, 0x1010, true, {}, Unwound::kBadUnwindData},
        {"unknown version", {3, 0, 0, 0}, 0x1010, true, {}, Unwound::kBadUnwindData},
        {"undefined large allocation",
         {1, 0, 3, 0, 0, 0x21, 0x18, 0, 0, 0},
         0x1010,
         true,
         {},
         Unwound::kBadUnwindData},
        {"stack not in the dump", kPushAndAllocate, 0x1010, true, {x, x}, Unwound::kStackNotInDump},
        {"frame pointer not known", kFramePointer, 0x1020, true, framed, Unwound::kRegisterUnknown,
         0, 0, 0, 1 << Registers::kRsp},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Image image = WithFunction(c.info);
        // The chained row's main entry: push rbp, sub rsp 0x30, lea rbp, [rsp + 0x10].
        image.Put(0x280, {1, 10, 3, 0x15, 10, 0x03, 5, 0x52, 1, 0x50});
        image.Put(0x1040, c.code);
        Registers registers;
        registers.value[Registers::kRsp] = kRsp;
        registers.value[kRbx] = 0x1111;
        registers.value[kRbp] = kFrameBase + 0x10;
        registers.known = c.known;
        EXPECT_EQ(UnwindFrame(image.Unwind(), c.rva, c.atInstruction, registers, StackOf(c.stack)),
                  c.how);
        if (c.how == Unwound::kCaller || c.how == Unwound::kInterrupted) {
            EXPECT_EQ(registers.rip, c.rip);
            EXPECT_EQ(registers.value[Registers::kRsp], c.rsp);
            EXPECT_EQ(registers.value[kRbx], c.rbx);
        }
    }
}

TEST(X64Unwind, AReturnAddressFollowsACallInstruction) {
    const struct {
        std::vector<std::uint8_t> before;
        bool call;
    } cases[] = {
        {{0xE8, 1, 2, 3, 4}, true},              // call rel32
        {{0xFF, 0xD0}, true},                    // call rax
        {{0x41, 0xFF, 0xD3}, true},              // call r11
        {{0xFF, 0xD4}, true},                    // call rsp
        {{0xFF, 0x10}, true},                    // call [rax]
        {{0xFF, 0x50, 0x08}, true},              // call [rax + 8]
        {{0xFF, 0x54, 0x24, 0x08}, true},        // call [rsp + 8]
        {{0xFF, 0x15, 1, 2, 3, 4}, true},        // call [rip + disp32]
        {{0xFF, 0x90, 1, 2, 3, 4}, true},        // call [rax + disp32]
        {{0xFF, 0x14, 0x25, 1, 2, 3, 4}, true},  // call [disp32]
        {{0xFF, 0x94, 0x24, 1, 2, 3, 4}, true},  // call [rsp + disp32]
        {{0xFF, 0xE0}, false},                   // jmp rax
        {{0xFF, 0x15, 1, 2, 3}, false},          // too short for its form
        {{0xE8, 1, 2, 3, 4, 0x90}, false},       // an instruction after the call
        {{0x48, 0x89, 0xC3}, false},             // mov rbx, rax
    };
    for (const auto& c : cases) {
        Image image;
        image.Put(static_cast<std::uint32_t>(0x1010 - c.before.size()), c.before);
        EXPECT_EQ(FollowsCall(image.Unwind().bytesAt, 0x1010), c.call)
            << ::testing::PrintToString(c.before);
    }
}

// The modules a.dll, whose file is not at hand, and b.exe, the image above; each place named
// by the address it was looked up at.
class Files final : public ModuleData {
  public:
    explicit Files(std::vector<std::uint8_t> info) : m_image(WithFunction(std::move(info))) {
        m_image.Put(0x1020, {0xE8, 0, 0, 0, 0});
        m_image.Put(0x1FFB, {0xE8, 0, 0, 0, 0});  // a call that ends the image
    }
    const PeImage* Image(const DumpModule&) const override { return nullptr; }
    const UnwindImage* Unwind(const DumpModule& module) const override {
        return module.path == "b.exe" ? &m_unwind : nullptr;
    }
    std::optional<SourcePlace> Place(const DumpModule&, std::uint32_t rva) const override {
        return SourcePlace{std::to_string(rva), "", 0};
    }

  private:
    struct Image m_image;  // the struct, not the member function of that name
    UnwindImage m_unwind = m_image.Unwind();
};

// A frame's address, whether it was found by scanning, its module and its place.
using Frame = std::tuple<std::uint64_t, bool, std::string, std::string>;

TEST(StackWalk, FramesFoundByRuleAreCallsAndTheRestAreMarkedScanned) {
    constexpr std::uint64_t b = 0x140000000;
    const std::uint64_t x = 0xEEEE;
    const struct {
        const char* name;
        std::vector<std::uint8_t> info;
        std::uint64_t rip;
        std::vector<std::uint64_t> stack;
        std::vector<Frame> frames;
    } cases[] = {
        {"from a module not at hand, scanned to a call, then by rule to the end",
         kPushAndAllocate,
         0x7B000100,
         {b + 0x1010, 0x7B001000, b + 0x1025, x, x, x, x, kSavedRbx, 0},
         {{0x7B000100, false, "a.dll", "256"}, {b + 0x1025, true, "b.exe", "4132"}}},
        {"a leaf's pushed value is no return address: the call's is found by scanning",
         kPushAndAllocate,
         b + 0x1800,
         {0x4000008, x, b + 0x1025, x, x, x, x, kSavedRbx, 0},
         {{b + 0x1800, false, "b.exe", "6144"}, {b + 0x1025, true, "b.exe", "4132"}}},
        {"through a machine frame, the interrupted instruction is a place of its own",
         {1, 0, 1, 0, 0, 0x0A},
         b + 0x1010,
         {b + 0x1050, 0x33, 0x246, kRsp + 0x40, 0x2B, x, x, x, 0},
         {{b + 0x1010, false, "b.exe", "4112"}, {b + 0x1050, false, "b.exe", "4176"}}},
        {"a return address at its module's end belongs to the module of its call",
         kPushAndAllocate,
         0x7B000100,
         {b + 0x2000, 0},
         {{0x7B000100, false, "a.dll", "256"}, {b + 0x2000, true, "b.exe", "8191"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Files files(c.info);
        std::vector<std::uint8_t> context(0x4D0), stack(c.stack.size() * 8);
        std::memcpy(&context[0x98], &kRsp, 8);  // rsp and rip of an x64 CONTEXT
        std::memcpy(&context[0xF8], &c.rip, 8);
        std::memcpy(stack.data(), c.stack.data(), stack.size());
        Minidump dump{};
        dump.exception = CrashException{1, 0xC0000005, 0, c.rip, {}, context};
        dump.modules = {{0x7B000000, 0x10000, 0, "a.dll"}, {b, 0x2000, 0, "b.exe"}};
        dump.memory = {{kRsp, stack}};
        std::vector<Frame> walked;
        const auto stacks = ThreadStacks(dump, files, false);
        for (const StackFrame& frame : stacks.at(0).frames) {
            walked.push_back({frame.address, frame.scanned, frame.module ? frame.module->path : "",
                              frame.place ? frame.place->function : ""});
        }
        EXPECT_EQ(walked, c.frames);
    }
}

}  // namespace
}  // namespace LumoDump
