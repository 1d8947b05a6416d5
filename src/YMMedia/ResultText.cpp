#include <windows.h>

#include <dshow.h>

#include <array>
#include <cwchar>

#include <ymdshow/LoadReport.h>

namespace ymdshow {

namespace {

// DirectShow's own codes, which the system's message table does not hold everywhere.
struct KnownResult {
    HRESULT result;
    const wchar_t* words;
};
constexpr KnownResult kKnownResults[] = {
    {VFW_E_INVALIDMEDIATYPE, L"the media type is not valid"},
    {VFW_E_NO_TYPES, L"the pin offers no media type"},
    {VFW_E_NO_ACCEPTABLE_TYPES, L"no media type is acceptable to both pins"},
    {VFW_E_TYPE_NOT_ACCEPTED, L"the media type is not acceptable"},
    {VFW_E_NOT_CONNECTED, L"the pin is not connected"},
    {VFW_E_NOT_FOUND, L"the object was not found"},
    {VFW_E_CANNOT_CONNECT, L"no filters were found that connect the pins"},
    {VFW_E_CANNOT_RENDER, L"no filters were found that render the stream"},
    {VFW_E_NO_TRANSPORT, L"the pins use different transports"},
    {VFW_E_INVALID_FILE_FORMAT, L"the file is damaged or not of its kind"},
    {VFW_E_UNKNOWN_FILE_TYPE, L"the media type of the file is not recognised"},
    {VFW_E_CANNOT_LOAD_SOURCE_FILTER, L"the source filter could not be loaded"},
    {VFW_E_FILE_TOO_SHORT, L"the file is too short"},
    {VFW_E_UNSUPPORTED_VIDEO, L"the video format is not supported"},
    {VFW_E_UNSUPPORTED_AUDIO, L"the audio format is not supported"},
    {VFW_E_UNSUPPORTED_STREAM, L"the format is not supported"},
    {VFW_E_NO_AUDIO_HARDWARE, L"there is no sound device"},
    {VFW_E_NO_DECOMPRESSOR, L"no decoder for the stream was found"},
    {REGDB_E_CLASSNOTREG, L"the class is not registered"},
    {E_NOINTERFACE, L"the interface is not supported"},
    {E_FAIL, L"unspecified error"},
};

} // namespace

std::wstring ResultText(HRESULT result) {
    for (const KnownResult& known : kKnownResults) {
        if (known.result == result) {
            return known.words;
        }
    }
    std::array<wchar_t, 512> buffer{};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, static_cast<DWORD>(result), 0, buffer.data(),
                                  static_cast<DWORD>(buffer.size()), nullptr);
    while (length > 0 && std::wcschr(L"\r\n .", buffer[length - 1]) != nullptr) {
        --length;
    }
    if (length == 0) {
        length = static_cast<DWORD>(swprintf_s(buffer.data(), buffer.size(), L"error 0x%08lX",
                                               static_cast<unsigned long>(result)));
    }
    return std::wstring(buffer.data(), length);
}

} // namespace ymdshow
