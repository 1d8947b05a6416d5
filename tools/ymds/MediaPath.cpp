#include "MediaPath.h"

#include <windows.h>

#include <array>

#include "Text.h"

namespace ymds {

namespace {

constexpr DWORD kLongestPath = 32768;

std::wstring ShortPath(const std::wstring& path) {
    std::wstring buffer(kLongestPath, L'\0');
    const DWORD length = GetShortPathNameW(path.c_str(), buffer.data(), kLongestPath);
    buffer.resize(length < kLongestPath ? length : 0);
    return buffer;
}

/// Why the file cannot be played, as far as the file system tells; empty when it can.
std::wstring FileTrouble(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == FALSE) {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ||
            error == ERROR_INVALID_NAME || error == ERROR_BAD_PATHNAME) {
            return L"not found";
        }
        return L"cannot be looked up: " + HexAndWords(HRESULT_FROM_WIN32(error));
    }
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return L"is a directory";
    }
    if (data.nFileSizeHigh == 0 && data.nFileSizeLow == 0) {
        return L"is empty";
    }
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return L"cannot be opened: " + HexAndWords(HRESULT_FROM_WIN32(GetLastError()));
    }
    CloseHandle(file);
    return {};
}

} // namespace

std::wstring FullPath(const std::wstring& path) {
    std::wstring buffer(kLongestPath, L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), kLongestPath, buffer.data(), nullptr);
    if (length == 0 || length >= kLongestPath) {
        return path;
    }
    buffer.resize(length);
    return buffer;
}

std::wstring Stem(const std::wstring& file) {
    const std::size_t slash = file.find_last_of(L"/\\:");
    const std::wstring name = slash == std::wstring::npos ? file : file.substr(slash + 1);
    const std::size_t dot = name.rfind(L'.');
    return dot == std::wstring::npos || dot == 0 ? name : name.substr(0, dot);
}

MediaPath ResolveMedia(const std::wstring& file) {
    MediaPath result;
    const bool url = file.find(L"://") != std::wstring::npos;
    const std::wstring path = url ? file : FullPath(file);
    if (file.empty()) {
        result.error = L"the name is empty";
        return result;
    }
    if (!url) {
        result.error = FileTrouble(path);
        if (!result.error.empty()) {
            return result;
        }
    }
    auto narrow = To936(path);
    if (!narrow && !url) {
        narrow = To936(ShortPath(path));
        if (narrow && narrow->empty()) {
            narrow.reset();
        }
    }
    if (narrow) {
        result.library = *narrow;
    } else {
        result.error = L"the name has characters outside code page 936 and the file has no short "
                       L"name; rename or copy it";
    }
    return result;
}

} // namespace ymds
