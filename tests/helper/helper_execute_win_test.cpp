// The helper's run is guarded: a machine fault or an uncaught exception inside the loop
// leaves a crash dump, the announcement is withdrawn and Execute returns, so that main goes
// on to its exit dump and the exit status.
#include <functional>

#include "platform/minidump.h"
#include "platform/special_folders.h"
#include "platform/testing/fake_minidump_writer.h"
#include "platform/testing/fake_special_folders.h"
#include "tests/helper/helper_harness.h"
#include "tests/identification/instrument_record.h"

namespace HelperTesting {
namespace {

TEST(HelperExecute, AFaultOrAnEscapingExceptionInsideTheRunLeavesADumpAndReturns) {
    const struct {
        const char* what;
        void (*fault)();
    } cases[] = {
        {"access violation", [] { *static_cast<volatile int*>(nullptr) = 1; }},
        {"C++ exception", [] { throw std::bad_function_call(); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HelperHarness h;
        Fakes::FakeMiniDumpWriter writer;
        Fakes::FakeSpecialFolders folders;
        folders.SetCommonAppData(L"C:\\ProgramData");
        ScopedOverride<Orvane::Platform::MiniDumpWriter> useWriter{writer};
        ScopedOverride<Orvane::Platform::SpecialFolders> useFolders{folders};
        h.PluginPresent();
        const Record arm;  // a supported arm
        h.BeforeWait(0, [&] { h.helper->OnInstrumentData(arm.data()); });
        h.BeforeWait(1, c.fault);

        h.helper->Execute(false);

        // Announced before the fault, withdrawn after it.
        const auto types = h.DatagramTypes();
        EXPECT_EQ(types.front(), kAnnounce);
        EXPECT_EQ(types.back(), kWithdraw);

        const auto writes = writer.Writes();
        ASSERT_EQ(writes.size(), 1u);
        EXPECT_NE(writes[0].exception, nullptr);
        EXPECT_NE(writes[0].userStreamBytes.find("LumoDiscoveryPluginHelper at Run"),
                  std::string::npos);
        // The fault ended the run before its DeInitialize: the destructor closes the channel.
        EXPECT_EQ(h.CallCount(Call::Close), 0u);
        h.helper.reset();
        EXPECT_EQ(h.CallCount(Call::Close), 1u);
    }
}

}  // namespace
}  // namespace HelperTesting
