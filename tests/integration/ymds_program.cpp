#include "integration/ymds_program.h"

#include <wincodec.h>
#include <wrl/client.h>

#include <sstream>

namespace ymds_tests {

using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD kTimeLimit = 200'000;

/// For one output of the child.
HANDLE Create(const std::wstring& path) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    return CreateFileW(path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE,
                       FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, CREATE_ALWAYS, 0, nullptr);
}

std::string Read(const std::wstring& path) {
    std::ostringstream text;
    text << std::ifstream(std::filesystem::path(path), std::ios::binary).rdbuf();
    return text.str();
}

} // namespace

Json::Value Result::Json() const {
    ::Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    ::Json::Value value;
    std::istringstream text(out);
    return ::Json::parseFromStream(builder, text, &value, nullptr) ? value : ::Json::Value();
}

Result RunYmds(const std::vector<std::wstring>& arguments,
               const std::function<void(const Notes&)>& during) {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command =
        L"\"" + std::filesystem::path(self).replace_filename("ymds.exe").wstring() + L"\"";
    for (const std::wstring& argument : arguments) {
        command += L" \"" + argument + L"\"";
    }
    const Scratch scratch;
    const std::wstring err = scratch.Path(L"err");
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = Create(scratch.Path(L"out"));
    startup.hStdError = Create(err);
    PROCESS_INFORMATION process{};
    CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                   &process);
    if (during) {
        during([&err] { return Read(err); });
    }
    if (WaitForSingleObject(process.hProcess, kTimeLimit) != WAIT_OBJECT_0) {
        TerminateProcess(process.hProcess, 99);
    }
    DWORD code = 99;
    GetExitCodeProcess(process.hProcess, &code);
    for (const HANDLE handle :
         {process.hThread, process.hProcess, startup.hStdOutput, startup.hStdError}) {
        CloseHandle(handle);
    }
    return {static_cast<int>(code), Read(scratch.Path(L"out")), Read(err)};
}

std::wstring Media(const std::wstring& name) {
    const wchar_t* directory = _wgetenv(L"YMD_MEDIA_DIR");
    return (std::filesystem::path(directory == nullptr ? L"" : directory) / name).wstring();
}

Image ReadPng(const std::wstring& path) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    ComPtr<IWICBitmapSource> bgr;
    Image image;
    GUID container{};
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(&factory))) ||
        FAILED(factory->CreateDecoderFromFilename(path.c_str(), nullptr, GENERIC_READ,
                                                  WICDecodeMetadataCacheOnDemand, &decoder)) ||
        FAILED(decoder->GetContainerFormat(&container)) || container != GUID_ContainerFormatPng ||
        FAILED(decoder->GetFrame(0, &frame)) ||
        FAILED(WICConvertBitmapSource(GUID_WICPixelFormat24bppBGR, frame.Get(), &bgr)) ||
        FAILED(bgr->GetSize(&image.width, &image.height))) {
        return {};
    }
    const UINT stride = image.width * 3;
    image.bgr.resize(std::size_t{stride} * image.height);
    bgr->CopyPixels(nullptr, stride, stride * image.height, image.bgr.data());
    return image;
}

} // namespace ymds_tests
