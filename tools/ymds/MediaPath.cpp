#include "MediaPath.h"

#include <windows.h>

#include <ymdshow/LoadReport.h>

namespace ymds {

namespace {

constexpr DWORD kLongestPath = 32768;

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

std::wstring MediaPath(const std::wstring& file, std::wstring& trouble) {
    if (file.find(L"://") != std::wstring::npos) {
        return file;
    }
    const std::wstring path = FullPath(file);
    trouble = file.empty() ? L"the name is empty" : ymdshow::FileTrouble(path);
    return path;
}

} // namespace ymds
