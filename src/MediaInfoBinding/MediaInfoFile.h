#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "MediaInfoBinding/MediaInfoLibrary.h"

namespace ymdshow::mediainfo {

/// The library's numbering.
enum class StreamKind : int { General = 0, Video = 1, Audio = 2, Image = 5 };

/// One handle of the library and the file opened with it; closed and deleted with the
/// object. Text in and out is in code page 936, but for paths. Without the library, text queries
/// answer LoadFailureText and numbers are 0. Not for several threads at once.
class MediaInfoFile {
public:
    MediaInfoFile();
    ~MediaInfoFile();
    MediaInfoFile(const MediaInfoFile&) = delete;
    MediaInfoFile& operator=(const MediaInfoFile&) = delete;

    /// False when the library cannot be loaded or gives no handle.
    bool IsCreated() const { return m_handle != nullptr; }

    bool Open(const std::wstring& path);
    void Close();

    /// Options without a file of their own are process-wide in the library.
    std::string Option(const char* name, const std::string& value);

    /// The same with the value in UTF-16.
    std::string Option(const char* name, const std::wstring& value);

    /// The text of a stream's parameter; empty when it is not known.
    std::string Get(StreamKind kind, std::size_t stream, const char* parameter) const;

    std::uint32_t Count(StreamKind kind) const;

    /// The text report of the open file.
    std::string Inform() const;

private:
    void ChooseCharacterSet();
    std::string ToLibrary(const std::wstring& text) const;
    std::string FromLibrary(const char* text) const;

    const EntryPoints* m_library;
    void* m_handle = nullptr;
    bool m_isOpen = false;
    bool m_isUtf8 = false;
};

} // namespace ymdshow::mediainfo
