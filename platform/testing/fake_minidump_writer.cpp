#include "platform/testing/fake_minidump_writer.h"

#include <algorithm>

namespace Orvane::Platform::Testing {

DumpFile FakeMiniDumpWriter::CreateDumpFile(const wchar_t* path) {
    std::lock_guard lock(mutex_);
    if (std::find(failing_.begin(), failing_.end(), path) != failing_.end()) {
        return nullptr;
    }
    opened_.emplace_back(path);
    // Distinct non-null handles, one per open.
    return reinterpret_cast<DumpFile>(static_cast<std::uintptr_t>(0x1000 + opened_.size()));
}

int FakeMiniDumpWriter::WriteDump(DumpFile file, std::uint32_t dumpType, std::uint32_t threadId,
                                  ExceptionPointers* exception, const DumpUserStream* userStream,
                                  std::uint32_t& lastError) {
    std::function<void()> action;
    Outcome outcome{1, 0};
    {
        std::lock_guard lock(mutex_);
        Write write{file, dumpType, threadId, exception, std::nullopt, {}};
        if (userStream) {
            write.userStreamType = userStream->type;
            write.userStreamBytes.assign(static_cast<const char*>(userStream->buffer),
                                         userStream->size);
        }
        writes_.push_back(std::move(write));
        if (!outcomes_.empty()) {
            outcome = outcomes_.front();
            outcomes_.pop_front();
        }
        action = duringWrite_;
    }
    if (action)
        action();
    lastError = outcome.lastError;
    return outcome.result;
}

}  // namespace Orvane::Platform::Testing
