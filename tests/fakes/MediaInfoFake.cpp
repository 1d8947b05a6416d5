#include "MediaInfoFake.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <tuple>

namespace {

struct Handle {
    char answer[8192]{};
};

struct State {
    std::mutex mutex;
    std::map<std::tuple<int, std::size_t, std::string>, std::string> answers;
    std::map<int, std::size_t> counts;
    std::string report;
    std::string calls;
    std::size_t openResult = 1;
    bool refuseHandles = false;
    bool utf8 = false;
    int liveHandles = 0;
    int handlesMade = 0;
};
State g_state;

std::string Convert(const std::string& text, UINT from, UINT to) {
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(from, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                            static_cast<int>(wide.size()))));
    std::string out(wide.size() * 4, '\0');
    out.resize(static_cast<std::size_t>(
        WideCharToMultiByte(to, 0, wide.data(), static_cast<int>(wide.size()), out.data(),
                            static_cast<int>(out.size()), nullptr, nullptr)));
    return out;
}

std::string Taken(const char* text) {
    return g_state.utf8 ? text : Convert(text, CP_ACP, CP_UTF8);
}

const char* Given(void* handle, const std::string& text) {
    const std::string out = g_state.utf8 ? text : Convert(text, CP_UTF8, CP_ACP);
    char(&answer)[sizeof(Handle::answer)] = static_cast<Handle*>(handle)->answer;
    std::memset(answer, '#', sizeof answer);
    std::memcpy(answer, out.c_str(), out.size() + 1);
    return answer;
}

void Note(const std::string& call) {
    g_state.calls += call + "\n";
}

} // namespace

#define EXPORTED extern "C" __declspec(dllexport)

EXPORTED void* MediaInfoA_New() {
    const std::lock_guard lock(g_state.mutex);
    Note("New");
    if (g_state.refuseHandles) {
        return nullptr;
    }
    ++g_state.liveHandles;
    ++g_state.handlesMade;
    return new Handle;
}

EXPORTED void MediaInfoA_Delete(void* handle) {
    const std::lock_guard lock(g_state.mutex);
    Note("Delete");
    --g_state.liveHandles;
    delete static_cast<Handle*>(handle);
}

EXPORTED std::size_t MediaInfoA_Open(void*, const char* path) {
    const std::lock_guard lock(g_state.mutex);
    Note("Open " + Taken(path));
    return g_state.openResult;
}

EXPORTED void MediaInfoA_Close(void*) {
    const std::lock_guard lock(g_state.mutex);
    Note("Close");
}

EXPORTED const char* MediaInfoA_Inform(void* handle, std::size_t reserved) {
    const std::lock_guard lock(g_state.mutex);
    Note("Inform " + std::to_string(reserved));
    return Given(handle, g_state.report);
}

EXPORTED const char* MediaInfoA_Get(void* handle, int kind, std::size_t stream,
                                    const char* parameter, int infoKind, int searchKind) {
    const std::lock_guard lock(g_state.mutex);
    const auto found = g_state.answers.find({kind, stream, parameter});
    const bool asked = infoKind == 1 && searchKind == 0; // a text, by name
    Note("Get " + std::to_string(kind) + " " + std::to_string(stream) + " " + parameter);
    return Given(handle, asked && found != g_state.answers.end() ? found->second : std::string());
}

EXPORTED const char* MediaInfoA_Option(void* handle, const char* name, const char* value) {
    const std::lock_guard lock(g_state.mutex);
    Note(std::string("Option ") + name + "=" + Taken(value));
    if (std::strcmp(name, "CharSet") == 0) {
        g_state.utf8 = std::strcmp(value, "UTF-8") == 0;
    }
    return Given(handle, "");
}

EXPORTED std::size_t MediaInfoA_Count_Get(void*, int kind, std::size_t stream) {
    const std::lock_guard lock(g_state.mutex);
    Note("Count " + std::to_string(kind));
    return stream == SIZE_MAX ? g_state.counts[kind] : 0;
}

// Required of the library, but never to be called.
#define NEVER_CALLED(name)                                                                         \
    EXPORTED std::size_t name() {                                                                  \
        Note("UNEXPECTED " #name);                                                                 \
        return 0;                                                                                  \
    }
NEVER_CALLED(MediaInfoListA_New)
NEVER_CALLED(MediaInfoListA_Delete)
NEVER_CALLED(MediaInfoListA_Open)
NEVER_CALLED(MediaInfoA_Open_Buffer_Init)
NEVER_CALLED(MediaInfoA_Open_Buffer_Continue)
NEVER_CALLED(MediaInfoA_Open_Buffer_Continue_GoTo_Get)
NEVER_CALLED(MediaInfoA_Open_Buffer_Finalize)
NEVER_CALLED(MediaInfoA_Open_NextPacket)
NEVER_CALLED(MediaInfoListA_Close)
NEVER_CALLED(MediaInfoListA_Inform)
NEVER_CALLED(MediaInfoA_GetI)
NEVER_CALLED(MediaInfoListA_GetI)
NEVER_CALLED(MediaInfoListA_Get)
NEVER_CALLED(MediaInfoA_Output_Buffer_Get)
NEVER_CALLED(MediaInfoA_Output_Buffer_GetI)
NEVER_CALLED(MediaInfoListA_Option)
NEVER_CALLED(MediaInfoA_State_Get)
NEVER_CALLED(MediaInfoListA_State_Get)
NEVER_CALLED(MediaInfoListA_Count_Get)
NEVER_CALLED(MediaInfoListA_Count_Get_Files)

EXPORTED const fakes::MediaInfoFakeControls FakeControls;
const fakes::MediaInfoFakeControls FakeControls{
    .reset =
        [] {
            const std::lock_guard lock(g_state.mutex);
            g_state.answers.clear();
            g_state.counts.clear();
            g_state.report.clear();
            g_state.calls.clear();
            g_state.openResult = 1;
            g_state.refuseHandles = false;
            g_state.utf8 = false;
            g_state.handlesMade = 0;
        },
    .answer =
        [](int kind, std::size_t stream, const char* parameter, const char* text) {
            g_state.answers[{kind, stream, parameter}] = text;
        },
    .count = [](int kind, std::size_t count) { g_state.counts[kind] = count; },
    .report = [](const char* text) { g_state.report = text; },
    .openResult = [](std::size_t result) { g_state.openResult = result; },
    .refuseHandles = [](bool refuse) { g_state.refuseHandles = refuse; },
    .calls = [] { return g_state.calls.c_str(); },
    .liveHandles = [] { return g_state.liveHandles; },
    .handlesMade = [] { return g_state.handlesMade; },
};
