#include "Schemes.h"

#include <windows.h>

#include <array>
#include <filesystem>
#include <set>
#include <system_error>

#include "Console.h"

namespace ymds {

namespace {

constexpr char kPatternScheme[] = R"({"Schemes": [{"Type": "test", "Filters": [
    {"Name": "Pattern Source", "CLSID": "{6B0C0E2A-4F35-4B0E-9B52-6D7E3A51C001}",
     "Path": "filters\\ymdpattern.ax", "Type": "source", "IsCache": false}]}]})";

// Wine's default video renderer draws nothing into another window and gives no usable
// picture, its plain one does both. Standing in the graph beforehand, it is used.
constexpr char kWineScheme[] = R"({"Schemes": [{"Type": "video_global;unknown", "Filters": [
    {"Name": "Video Renderer", "CLSID": "{70E102B0-5556-11CE-97C0-00AA0055595A}",
     "Type": "render", "IsCache": false}]}]})";

constexpr wchar_t kUsual[] = L"media";
constexpr wchar_t kNone[] = L"none";
constexpr wchar_t kRenderers[] = L"renderers";

std::filesystem::path Directory() {
    std::array<wchar_t, 32768> program{};
    GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    return std::filesystem::path(program.data()).replace_filename(L"schemes");
}

/// The path of a script that ships; empty when it is not there.
std::wstring Shipped(const std::wstring& name) {
    const std::filesystem::path path = Directory() / (name + L".json");
    std::error_code ignored;
    return std::filesystem::exists(path, ignored) ? path.wstring() : L"";
}

std::wstring Names() {
    std::set<std::wstring> names{kNone};
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(Directory(), ignored)) {
        if (entry.path().extension() == L".json") {
            names.insert(entry.path().stem().wstring());
        }
    }
    std::wstring text;
    for (const std::wstring& name : names) {
        text += (text.empty() ? L"" : L", ") + name;
    }
    return text;
}

std::wstring LoadScript(ymdshow::CCoderScheme& scheme, const std::wstring& path) {
    if (scheme.LoadScheme(path, 0)) {
        return {};
    }
    return scheme.GetLoadReport().Text(path);
}

} // namespace

std::wstring UseScheme(ymdshow::CCoderScheme& scheme, const std::wstring& wanted) {
    if (wanted.find_first_of(L"\\/:.") != std::wstring::npos) {
        return LoadScript(scheme, wanted);
    }
    scheme.LoadSchemeByScript(kPatternScheme, 0);
    const std::wstring name = wanted.empty() ? kUsual : wanted;
    const std::wstring script = name != kNone ? Shipped(name) : L"";
    if (!script.empty()) {
        const std::wstring error = LoadScript(scheme, script);
        const std::wstring renderers = Shipped(kRenderers);
        return error.empty() && !renderers.empty() ? LoadScript(scheme, renderers) : error;
    }
    if (name != kNone && !wanted.empty()) {
        return L"there is no scheme " + name + L"; there are: " + Names();
    }
    if (RunsUnderWine()) {
        scheme.LoadSchemeByScript(kWineScheme, 0);
    }
    return {};
}

} // namespace ymds
