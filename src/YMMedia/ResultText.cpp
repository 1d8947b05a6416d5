#include "YMMedia/Support.h"

#include <array>

namespace ymdshow {

std::wstring ResultText(HRESULT result) {
    std::array<wchar_t, 512> buffer{};
    const HMODULE quartz = GetModuleHandleW(L"quartz.dll");
    const DWORD flags = FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM |
                        (quartz != nullptr ? FORMAT_MESSAGE_FROM_HMODULE : 0U);
    DWORD length = FormatMessageW(flags, quartz, static_cast<DWORD>(result), 0, buffer.data(),
                                  static_cast<DWORD>(buffer.size()), nullptr);
    while (length > 0 && (buffer[length - 1] == L'\n' || buffer[length - 1] == L'\r' ||
                          buffer[length - 1] == L' ')) {
        --length;
    }
    return std::wstring(buffer.data(), length);
}

} // namespace ymdshow
