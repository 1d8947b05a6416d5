#include "integration/ymds_program.h"

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace ymds_tests {

namespace fs = std::filesystem;
using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD TimeLimit = 200'000;
constexpr int AwaitLimit = 60'000;

/// One output of the child, in a file that goes when it is closed.
class Output {
public:
    explicit Output(const wchar_t* name)
        : m_path(fs::temp_directory_path() /
                 (L"ymds-" + std::to_wstring(GetCurrentProcessId()) + name)) {
        SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
        m_file = CreateFileW(m_path.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, kShared, &inherit,
                             CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    }
    ~Output() { CloseHandle(m_file); }
    HANDLE ChildEnd() const { return m_file; }
    /// A handle of its own: the child's place in the file stays.
    std::string Read() const {
        const HANDLE reader =
            CreateFileW(m_path.c_str(), GENERIC_READ, kShared, nullptr, OPEN_EXISTING, 0, nullptr);
        std::string text(GetFileSize(reader, nullptr), '\0');
        DWORD count = 0;
        ReadFile(reader, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
        CloseHandle(reader);
        return text;
    }

private:
    static constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const fs::path m_path;
    HANDLE m_file;
};

} // namespace

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) {
        line.erase(line.find_last_not_of("\r") + 1);
        lines.push_back(line);
    }
    return lines;
}

bool Running::Await(const std::function<bool()>& condition) const {
    for (int waited = 0; waited < AwaitLimit && !condition(); waited += 20) {
        Sleep(20);
    }
    return condition();
}

Json::Value Result::Json() const {
    ::Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    ::Json::Value value;
    std::istringstream text(out);
    return ::Json::parseFromStream(builder, text, &value, nullptr) ? value : ::Json::Value();
}

Result RunYmds(const std::vector<std::wstring>& arguments,
               const std::function<void(const Running&)>& during) {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring command = L"\"" + fs::path(self).replace_filename(L"ymds.exe").wstring() + L"\"";
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
            during({[&err] { return Lines(err.Read()); }});
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
    static int count = 0;
    m_path = fs::temp_directory_path() /
             (L"ymds-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count));
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
