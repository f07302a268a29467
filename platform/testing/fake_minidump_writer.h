// Dump files and dump writes in memory: every call is kept for inspection, and the test
// chooses which opens fail and what each write returns.
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/minidump.h"

namespace Orvane::Platform::Testing {

class FakeMiniDumpWriter final : public MiniDumpWriter {
  public:
    struct Write {
        DumpFile file;
        std::uint32_t dumpType;
        std::uint32_t threadId;
        ExceptionPointers* exception;
        std::optional<std::uint32_t> userStreamType;  // empty when no user stream was given
        std::string userStreamBytes;
    };
    struct Outcome {
        int result;
        std::uint32_t lastError;
    };

    DumpFile CreateDumpFile(const wchar_t* path) override;
    void CloseDumpFile(DumpFile file) override;
    int WriteDump(DumpFile file, std::uint32_t dumpType, std::uint32_t threadId,
                  ExceptionPointers* exception, const DumpUserStream* userStream,
                  std::uint32_t& lastError) override;

    // Opens of these paths fail.
    void FailOpening(const std::wstring& path);
    // The next writes return these, in order; afterwards every write succeeds.
    void QueueOutcomes(std::vector<Outcome> outcomes);
    // Called inside every write, before it returns (to act while a dump is being written).
    void DuringWrite(std::function<void()> action);

    std::vector<std::wstring> OpenedPaths() const;
    std::vector<Write> Writes() const;
    std::vector<DumpFile> ClosedFiles() const;

  private:
    mutable std::mutex mutex_;
    std::vector<std::wstring> failing_;
    std::deque<Outcome> outcomes_;
    std::function<void()> duringWrite_;
    std::vector<std::wstring> opened_;
    std::vector<Write> writes_;
    std::vector<DumpFile> closed_;
};

}  // namespace Orvane::Platform::Testing
