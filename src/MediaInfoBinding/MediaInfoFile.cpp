#include "MediaInfoBinding/MediaInfoFile.h"

#include <limits>

#include "Text/Text.h"

namespace ymdshow::mediainfo {
namespace {

constexpr int kInfoText = 1;
constexpr int kSearchByName = 0;

} // namespace

MediaInfoFile::MediaInfoFile() : m_library(Load()) {
    if (m_library != nullptr) {
        m_handle = m_library->create();
    }
    if (m_handle != nullptr) {
        ChooseCharacterSet();
    }
}

MediaInfoFile::~MediaInfoFile() {
    Close();
    if (m_handle != nullptr) {
        m_library->destroy(m_handle);
    }
}

// The library's narrow interface speaks the process's ANSI code page unless it is told
// otherwise, and UTF-8 alone carries every path and title. The choice is process-wide in the
// library, so it is renewed for each handle: a host that uses the same DLL may have changed it.
// It is made with a handle because the library frees what it keeps for calls without one when
// another thread deletes the last handle.
void MediaInfoFile::ChooseCharacterSet() {
    const char* const answer = m_library->option(m_handle, "CharSet", "UTF-8");
    // A version that does not know the option says so.
    m_isUtf8 = answer != nullptr && *answer == '\0';
}

bool MediaInfoFile::Open(const std::wstring& path) {
    if (m_handle == nullptr) {
        return false;
    }
    const std::size_t opened = m_library->open(m_handle, ToLibrary(path).c_str());
    // The library answers -1 where it swallowed an exception of its own.
    m_isOpen = opened != 0 && opened != std::numeric_limits<std::size_t>::max();
    if (!m_isOpen) {
        m_library->close(m_handle); // a failed open may have kept a part of the file
    }
    return m_isOpen;
}

void MediaInfoFile::Close() {
    if (m_isOpen) {
        m_library->close(m_handle);
        m_isOpen = false;
    }
}

std::string MediaInfoFile::Option(const char* name, const std::string& value) {
    if (m_handle == nullptr) {
        return LoadFailureText();
    }
    return Option(name, text::ToWide(value));
}

std::string MediaInfoFile::Option(const char* name, const std::wstring& value) {
    if (m_handle == nullptr) {
        return LoadFailureText();
    }
    return FromLibrary(m_library->option(m_handle, name, ToLibrary(value).c_str()));
}

std::string MediaInfoFile::Get(StreamKind kind, std::size_t stream, const char* parameter) const {
    if (m_handle == nullptr) {
        return LoadFailureText();
    }
    return FromLibrary(m_library->get(m_handle, static_cast<int>(kind), stream, parameter,
                                      kInfoText, kSearchByName));
}

std::uint32_t MediaInfoFile::Count(StreamKind kind) const {
    if (m_handle == nullptr) {
        return 0;
    }
    const std::size_t count = m_library->countGet(m_handle, static_cast<int>(kind),
                                                  std::numeric_limits<std::size_t>::max());
    // As in Open: -1 is no count.
    return count == std::numeric_limits<std::size_t>::max() ? 0 : static_cast<std::uint32_t>(count);
}

std::string MediaInfoFile::Inform() const {
    return m_handle == nullptr ? LoadFailureText() : FromLibrary(m_library->inform(m_handle, 0));
}

std::string MediaInfoFile::ToLibrary(const std::wstring& text) const {
    return m_isUtf8 ? text::EncodeUtf8(text, text::Utf8::Full) : text::ToNarrow(text);
}

// The returned text is copied at once: the library overwrites it with its next answer.
std::string MediaInfoFile::FromLibrary(const char* text) const {
    if (text == nullptr) {
        return {};
    }
    // What is no UTF-8 although that was asked for is in the code page as it stands.
    return m_isUtf8 && text::IsUtf8(text) ? text::ToNarrow(text::DecodeUtf8(text, text::Utf8::Full))
                                          : text;
}

} // namespace ymdshow::mediainfo
