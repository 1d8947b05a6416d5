#include "integration/ymds_program.h"

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace ymds_tests {

namespace fs = std::filesystem;
using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD TimeLimit = 50000;

/// One output of the child, in a file that goes when it is closed.
class Output {
public:
    explicit Output(const wchar_t* name) {
        SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
        const fs::path path =
            fs::temp_directory_path() / (L"ymds-" + std::to_wstring(GetCurrentProcessId()) + name);
        m_file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit,
                             CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    }
    ~Output() { CloseHandle(m_file); }
    HANDLE ChildEnd() const { return m_file; }
    std::string Read() const {
        std::string text(GetFileSize(m_file, nullptr), '\0');
        DWORD count = 0;
        SetFilePointer(m_file, 0, nullptr, FILE_BEGIN);
        ReadFile(m_file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
        return text;
    }

private:
    HANDLE m_file;
};

fs::path BesideTest(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path() / name;
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
               const std::function<void(unsigned long)>& during) {
    std::wstring command = L"\"" + BesideTest(L"ymds.exe").wstring() + L"\"";
    for (const std::wstring& argument : arguments) {
        command += L" \"" + argument + L"\"";
    }
    const Output out(L".out");
    const Output err(L".err");
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.ChildEnd();
    startup.hStdError = err.ChildEnd();
    PROCESS_INFORMATION process{};
    const BOOL created = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        nullptr, &startup, &process);
    Result result;
    if (created != FALSE) {
        if (during) {
            during(process.dwProcessId);
        }
        if (WaitForSingleObject(process.hProcess, TimeLimit) == WAIT_OBJECT_0) {
            DWORD code = 0;
            GetExitCodeProcess(process.hProcess, &code);
            result.code = static_cast<int>(code);
        } else {
            TerminateProcess(process.hProcess, 99);
        }
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    result.out = out.Read();
    result.err = err.Read();
    return result;
}

std::wstring Media(const std::wstring& name) {
    const wchar_t* directory = _wgetenv(L"YMD_MEDIA_DIR");
    return (fs::path(directory == nullptr ? L"" : directory) / name).wstring();
}

Scratch::Scratch() {
    m_path = (fs::temp_directory_path() / (L"ymds-test-" + std::to_wstring(GetCurrentProcessId())))
                 .wstring();
    fs::create_directories(m_path);
}

Scratch::~Scratch() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

std::wstring Scratch::Path(const std::wstring& name) const {
    return (fs::path(m_path) / name).wstring();
}

std::wstring Scratch::Write(const std::wstring& name, const std::string& text) const {
    std::ofstream(fs::path(m_path) / name, std::ios::binary) << text;
    return Path(name);
}

double Image::Share(unsigned left, unsigned right, const std::uint8_t (&colour)[3]) const {
    std::size_t alike = 0;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = left; x < right; ++x) {
            const std::uint8_t* pixel = &bgr[(static_cast<std::size_t>(y) * width + x) * 3];
            bool same = true;
            for (int i = 0; i < 3; ++i) {
                same = same && std::abs(pixel[i] - colour[i]) <= 60;
            }
            alike += same ? 1 : 0;
        }
    }
    return static_cast<double>(alike) / (static_cast<double>(right - left) * height);
}

Image ReadPng(const std::wstring& path) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    ComPtr<IWICFormatConverter> converter;
    Image image;
    GUID container{};
    if (FAILED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                IID_PPV_ARGS(&factory))) ||
        FAILED(factory->CreateDecoderFromFilename(path.c_str(), nullptr, GENERIC_READ,
                                                  WICDecodeMetadataCacheOnDemand, &decoder)) ||
        FAILED(decoder->GetContainerFormat(&container)) || container != GUID_ContainerFormatPng ||
        FAILED(decoder->GetFrame(0, &frame)) ||
        FAILED(factory->CreateFormatConverter(&converter)) ||
        FAILED(converter->Initialize(frame.Get(), GUID_WICPixelFormat24bppBGR,
                                     WICBitmapDitherTypeNone, nullptr, 0,
                                     WICBitmapPaletteTypeCustom)) ||
        FAILED(converter->GetSize(&image.width, &image.height))) {
        return {};
    }
    image.bgr.resize(static_cast<std::size_t>(image.width) * image.height * 3);
    const HRESULT copied = converter->CopyPixels(
        nullptr, image.width * 3, static_cast<UINT>(image.bgr.size()), image.bgr.data());
    return SUCCEEDED(copied) ? image : Image{};
}

std::string Utf8(const std::wstring& text) {
    const std::u8string narrow = fs::path(text).u8string();
    return {narrow.begin(), narrow.end()};
}

} // namespace ymds_tests
