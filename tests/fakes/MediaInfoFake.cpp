#include "MediaInfoFake.h"

#include <cstdint>
#include <cstdlib>

#define EXPORTED extern "C" __declspec(dllexport)

EXPORTED fakes::MediaInfoTable FakeTable;
fakes::MediaInfoTable FakeTable;

namespace {

/// The choice of a character set, made with each handle, is not written down.
std::string Ask(const std::string& call) {
    FakeTable.calls += call.starts_with("Option CharSet=") ? "" : call + "\n";
    const auto found = FakeTable.answers.find(call);
    return found == FakeTable.answers.end() ? std::string() : found->second;
}

/// A handle is its last answer: as with the real library, the next one overwrites it.
const char* Answer(void* handle, const std::string& call) {
    return (*static_cast<std::string*>(handle) = Ask(call)).c_str();
}

} // namespace

EXPORTED void* MediaInfoA_New() {
    if (!Ask("New").empty()) {
        return nullptr;
    }
    ++FakeTable.handles;
    return new std::string;
}
EXPORTED void MediaInfoA_Delete(void* handle) {
    Ask("Delete");
    --FakeTable.handles;
    delete static_cast<std::string*>(handle);
}
EXPORTED std::size_t MediaInfoA_Open(void*, const char* path) {
    const std::string text = Ask(std::string("Open ") + path);
    return text.empty() ? 1 : static_cast<std::size_t>(std::atoll(text.c_str()));
}
EXPORTED void MediaInfoA_Close(void*) {
    Ask("Close");
}
EXPORTED const char* MediaInfoA_Inform(void* handle, std::size_t reserved) {
    return Answer(handle, "Inform " + std::to_string(reserved));
}
EXPORTED const char* MediaInfoA_Get(void* handle, int kind, std::size_t stream,
                                    const char* parameter, int infoKind, int searchKind) {
    const bool textByName = infoKind == 1 && searchKind == 0;
    return Answer(handle, (textByName ? "Get " : "Get otherwise ") + std::to_string(kind) + " " +
                              std::to_string(stream) + " " + parameter);
}
EXPORTED const char* MediaInfoA_Option(void* handle, const char* name, const char* value) {
    return Answer(handle, std::string("Option ") + name + "=" + value);
}
EXPORTED std::size_t MediaInfoA_Count_Get(void*, int kind, std::size_t stream) {
    const std::string call = stream == SIZE_MAX ? "Count " : "Count one ";
    return static_cast<std::size_t>(std::atoll(Ask(call + std::to_string(kind)).c_str()));
}

// The other names that the library must have; none is to be called.
#define UNUSED(name) MediaInfo##name() __attribute__((alias("MediaInfoListA_New")))
EXPORTED void MediaInfoListA_New() {
    std::abort();
}
EXPORTED void UNUSED(A_Open_Buffer_Init), UNUSED(A_Open_Buffer_Continue),
    UNUSED(A_Open_Buffer_Continue_GoTo_Get), UNUSED(A_Open_Buffer_Finalize),
    UNUSED(A_Open_NextPacket), UNUSED(A_GetI), UNUSED(A_Output_Buffer_Get),
    UNUSED(A_Output_Buffer_GetI), UNUSED(A_State_Get), UNUSED(ListA_Delete), UNUSED(ListA_Open),
    UNUSED(ListA_Close), UNUSED(ListA_Inform), UNUSED(ListA_GetI), UNUSED(ListA_Get),
    UNUSED(ListA_Option), UNUSED(ListA_State_Get), UNUSED(ListA_Count_Get),
    UNUSED(ListA_Count_Get_Files);
