// This test program, built with its debug information, names a call site in its own code
// from its own file: the name from the symbol table, the line from the line tables that the
// compiler wrote in the version it writes.
#include "tools/lumo-dump/lib/module_symbols.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

extern "C" const char __ImageBase;  // the linker's: where this program is loaded

namespace LumoDump {
namespace {

struct Call {
    const void* returnAddress;
    int line;
};

[[gnu::noinline]] const void* ReturnAddress() {
    return __builtin_return_address(0);
}

[[gnu::noinline]] Call CallAtAKnownLine() {
    Call call{ReturnAddress(), __LINE__};
    asm volatile("" ::: "memory");  // the call stays a call, not a jump
    return call;
}

TEST(ModuleSymbolsUnderWindows, NamesACallSiteInThisProgram) {
    std::ifstream in(std::filesystem::path(_wpgmptr), std::ios::binary);
    const std::vector<std::uint8_t> file{std::istreambuf_iterator<char>(in), {}};
    const auto image = PeImage::Read(file);
    ASSERT_EQ(image.index(), 0u) << std::get<std::string>(image);
    const auto symbols = ModuleSymbols::Read(std::get<PeImage>(image));
    ASSERT_EQ(symbols.index(), 0u) << std::get<std::string>(symbols);

    const Call call = CallAtAKnownLine();
    // The walk of a stack looks up the byte before a return address: the call instruction's.
    const auto rva =
        static_cast<std::uint32_t>(static_cast<const char*>(call.returnAddress) - &__ImageBase - 1);
    const auto place = std::get<ModuleSymbols>(symbols).Lookup(rva);
    ASSERT_TRUE(place);
    EXPECT_EQ(place->function, "LumoDump::(anonymous namespace)::CallAtAKnownLine()");
    EXPECT_THAT(place->file, testing::EndsWith("tests/module_symbols/module_symbols_win_test.cpp"));
    EXPECT_EQ(place->line, static_cast<std::uint32_t>(call.line));
}

}  // namespace
}  // namespace LumoDump
