#include "platform/minidump.h"
#include "platform/service.h"
#include "platform/special_folders.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace Orvane::Platform {
namespace {

TEST(SpecialFoldersUnderWindows, CommonAppDataIsAnExistingFolder) {
    const auto folder = Get<SpecialFolders>().CommonAppData();
    ASSERT_TRUE(folder.has_value());
    EXPECT_TRUE(std::filesystem::is_directory(*folder));
    EXPECT_NE(folder->find(L'\\'), std::wstring::npos);
}

class MiniDumpWriterUnderWindows : public ::testing::Test {
  protected:
    MiniDumpWriterUnderWindows() { std::filesystem::create_directories(folder); }
    ~MiniDumpWriterUnderWindows() override { std::filesystem::remove_all(folder); }

    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / L"lumo-minidump-writer-test";
    MiniDumpWriter& writer = Get<MiniDumpWriter>();
};

TEST_F(MiniDumpWriterUnderWindows, FileIsExclusiveAndNeedsItsFolder) {
    const std::wstring path = (folder / L"a.dmp").wstring();
    DumpFile file = writer.CreateDumpFile(path.c_str());
    ASSERT_NE(file, nullptr);
    // Shared with nobody: a second open of the same file fails while the first is open.
    EXPECT_EQ(writer.CreateDumpFile(path.c_str()), nullptr);
    writer.CloseDumpFile(file);

    const std::wstring missing = (folder / L"missing" / L"b.dmp").wstring();
    EXPECT_EQ(writer.CreateDumpFile(missing.c_str()), nullptr);
    EXPECT_FALSE(std::filesystem::exists(folder / L"missing"));
}

TEST_F(MiniDumpWriterUnderWindows, DumpWithoutExceptionCarriesTheUserStream) {
    const std::wstring path = (folder / L"c.dmp").wstring();
    DumpFile file = writer.CreateDumpFile(path.c_str());
    ASSERT_NE(file, nullptr);
    const char marker[] = "flow log marker 1234";
    const DumpUserStream stream{0x10000, sizeof marker - 1, marker};
    std::uint32_t lastError = 0;
    EXPECT_EQ(writer.WriteDump(file, 0x50, 0, nullptr, &stream, lastError), 1);
    writer.CloseDumpFile(file);

    std::ifstream in(folder / L"c.dmp", std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    EXPECT_EQ(bytes.substr(0, 4), "MDMP");
    EXPECT_NE(bytes.find(marker), std::string::npos);
}

}  // namespace
}  // namespace Orvane::Platform
