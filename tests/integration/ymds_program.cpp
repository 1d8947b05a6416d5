#include "integration/ymds_program.h"

#include <windows.h>

#include <wincodec.h>
#include <wrl/client.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

namespace ymds_tests {

namespace fs = std::filesystem;
using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD TimeLimit = 50000;

/// One output of the child, read to its end on a thread of its own.
class Pipe {
public:
    Pipe() {
        SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
        CreatePipe(&m_read, &m_write, &inherit, 0);
        SetHandleInformation(m_read, HANDLE_FLAG_INHERIT, 0);
    }
    ~Pipe() { CloseHandle(m_read); }
    HANDLE ChildEnd() const { return m_write; }

    void Start() {
        CloseHandle(m_write);
        m_thread = std::thread([this] {
            char buffer[4096];
            DWORD count = 0;
            while (ReadFile(m_read, buffer, sizeof(buffer), &count, nullptr) != FALSE &&
                   count > 0) {
                m_text.append(buffer, count);
            }
        });
    }
    std::string Finish() {
        m_thread.join();
        return m_text;
    }

private:
    HANDLE m_read = nullptr;
    HANDLE m_write = nullptr;
    std::thread m_thread;
    std::string m_text;
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
    const std::unique_ptr<::Json::CharReader> reader(builder.newCharReader());
    if (!reader->parse(out.data(), out.data() + out.size(), &value, nullptr)) {
        return {};
    }
    return value;
}

Result RunYmds(const std::vector<std::wstring>& arguments,
               const std::function<void(unsigned long)>& during) {
    std::wstring command = L"\"" + BesideTest(L"ymds.exe").wstring() + L"\"";
    for (const std::wstring& argument : arguments) {
        command += L" \"" + argument + L"\"";
    }
    Pipe out;
    Pipe err;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.ChildEnd();
    startup.hStdError = err.ChildEnd();
    PROCESS_INFORMATION process{};
    const BOOL created = CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        nullptr, &startup, &process);
    out.Start();
    err.Start();
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
    result.out = out.Finish();
    result.err = err.Finish();
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
