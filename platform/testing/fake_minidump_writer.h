// Dump files and dump writes in memory: every call is kept for inspection, and the test
// chooses which opens fail and what each write returns.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/minidump.h"
#include "platform/testing/lockable.h"

namespace Orvane::Platform::Testing {

class FakeMiniDumpWriter final : public MiniDumpWriter, private Lockable {
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
    void CloseDumpFile(DumpFile file) override {
        Locked([&] { closed_.push_back(file); });
    }
    int WriteDump(DumpFile file, std::uint32_t dumpType, std::uint32_t threadId,
                  ExceptionPointers* exception, const DumpUserStream* userStream,
                  std::uint32_t& lastError) override;

    // Opens of these paths fail.
    void FailOpening(const std::wstring& path) {
        Locked([&] { failing_.push_back(path); });
    }
    // The next writes return these, in order; afterwards every write succeeds.
    void QueueOutcomes(const std::vector<Outcome>& outcomes) {
        Locked([&] { outcomes_.assign(outcomes.begin(), outcomes.end()); });
    }
    // Called inside every write, before it returns (to act while a dump is being written).
    void DuringWrite(std::function<void()> action) {
        Locked([&] { duringWrite_ = std::move(action); });
    }

    std::vector<std::wstring> OpenedPaths() const {
        return Locked([&] { return opened_; });
    }
    std::vector<Write> Writes() const {
        return Locked([&] { return writes_; });
    }
    std::vector<DumpFile> ClosedFiles() const {
        return Locked([&] { return closed_; });
    }

  private:
    std::vector<std::wstring> failing_;
    std::deque<Outcome> outcomes_;
    std::function<void()> duringWrite_;
    std::vector<std::wstring> opened_;
    std::vector<Write> writes_;
    std::vector<DumpFile> closed_;
};

}  // namespace Orvane::Platform::Testing
