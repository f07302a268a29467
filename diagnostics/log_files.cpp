#include "diagnostics/log_files.h"

#include "platform/service.h"
#include "platform/special_folders.h"

#include <cwchar>

std::optional<std::wstring> MakerLogFolder(const wchar_t* maker) {
    std::optional<std::wstring> folder =
        Orvane::Platform::Get<Orvane::Platform::SpecialFolders>().CommonAppData();
    if (!folder)
        return std::nullopt;
    if (folder->empty() || folder->back() != L'\\')
        *folder += L'\\';
    *folder += maker;
    *folder += L"\\Logs\\";
    return folder;
}

std::wstring FileTimeStamp(const Orvane::Platform::LocalTime& time) {
    wchar_t text[32];
    const int length = std::swprintf(text, std::size(text), L"%.4d%.2d%.2d_%.2d%.2d%.2d", time.year,
                                     time.month, time.day, time.hour, time.minute, time.second);
    return std::wstring(text, length > 0 ? static_cast<std::size_t>(length) : 0);
}
