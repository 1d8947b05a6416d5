#include "media/FFmpeg.h"

#include <dshow.h>
#include <wrl/client.h>

#include <cerrno>

#include "BaseClasses/InterfaceIds.h"

using Microsoft::WRL::ComPtr;

namespace ymfilters {

std::wstring ErrorText(int error) {
    // What the C runtime has no words for.
    switch (error) {
    case AVERROR(ETIMEDOUT):
        return L"Connection timed out";
    case AVERROR(ECONNREFUSED):
        return L"Connection refused";
    case AVERROR(ECONNRESET):
    case AVERROR(ECONNABORTED):
        return L"Connection lost";
    case AVERROR(EHOSTUNREACH):
    case AVERROR(ENETUNREACH):
        return L"Host unreachable";
    default:
        break;
    }
    char text[AV_ERROR_MAX_STRING_SIZE]{};
    av_strerror(error, text, sizeof(text));
    return FromUtf8(text);
}

HRESULT ResultOf(int error) {
    switch (error) {
    case AVERROR_INVALIDDATA:
        return VFW_E_INVALID_FILE_FORMAT;
    case AVERROR_EXIT:
        return E_ABORT;
    case AVERROR_PROTOCOL_NOT_FOUND:
    case AVERROR_DEMUXER_NOT_FOUND:
    case AVERROR_STREAM_NOT_FOUND:
        return VFW_E_UNSUPPORTED_STREAM;
    case AVERROR_DECODER_NOT_FOUND:
        return VFW_E_UNSUPPORTED_VIDEO;
    case AVERROR_EOF:
        return HRESULT_FROM_WIN32(ERROR_HANDLE_EOF);
    case AVERROR_HTTP_NOT_FOUND:
    case AVERROR(ENOENT):
        return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    case AVERROR_HTTP_UNAUTHORIZED:
    case AVERROR_HTTP_FORBIDDEN:
    case AVERROR(EACCES):
        return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    case AVERROR(ETIMEDOUT):
        return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    case AVERROR(ECONNREFUSED):
        return HRESULT_FROM_WIN32(ERROR_CONNECTION_REFUSED);
    case AVERROR(ECONNRESET):
    case AVERROR(ECONNABORTED):
        return HRESULT_FROM_WIN32(ERROR_CONNECTION_ABORTED);
    case AVERROR(EHOSTUNREACH):
    case AVERROR(ENETUNREACH):
        return HRESULT_FROM_WIN32(ERROR_HOST_UNREACHABLE);
    case AVERROR(EIO):
        return HRESULT_FROM_WIN32(ERROR_READ_FAULT);
    case AVERROR(ENOMEM):
        return E_OUTOFMEMORY;
    case AVERROR(EINVAL):
        return E_INVALIDARG;
    default:
        return E_FAIL;
    }
}

void TellError(const std::wstring& text) {
    ComPtr<ICreateErrorInfo> created;
    ComPtr<IErrorInfo> info;
    if (FAILED(CreateErrorInfo(&created)) ||
        FAILED(created->SetDescription(const_cast<LPOLESTR>(text.c_str()))) ||
        FAILED(created.As(&info))) {
        return;
    }
    SetErrorInfo(0, info.Get());
}

std::wstring FromUtf8(const char* text) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
    std::wstring wide(size > 0 ? static_cast<std::size_t>(size) - 1 : 0, L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.data(), size);
    return wide;
}

std::string ToUtf8(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

} // namespace ymfilters
