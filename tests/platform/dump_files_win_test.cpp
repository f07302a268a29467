#include "platform/minidump.h"
#include "platform/service.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Orvane::Platform {
namespace {

// A dump file is shared with nobody while it is written, and is never made with its folder.
TEST(MiniDumpWriterUnderWindows, FileIsExclusiveAndNeedsItsFolder) {
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / L"lumo-minidump-writer-test";
    std::filesystem::create_directories(folder);
    MiniDumpWriter& writer = Get<MiniDumpWriter>();
    const std::wstring path = (folder / L"a.dmp").wstring();
    DumpFile file = writer.CreateDumpFile(path.c_str());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(writer.CreateDumpFile(path.c_str()), nullptr);
    writer.CloseDumpFile(file);

    const std::wstring missing = (folder / L"missing" / L"b.dmp").wstring();
    EXPECT_EQ(writer.CreateDumpFile(missing.c_str()), nullptr);
    EXPECT_FALSE(std::filesystem::exists(folder / L"missing"));
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace Orvane::Platform
