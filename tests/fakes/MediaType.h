#pragma once

#include <windows.h>

#include <dshow.h>

#include <string>
#include <vector>

namespace fakes {

/// A media type as a value.
struct MediaType {
    GUID major = GUID_NULL;
    GUID subtype = GUID_NULL;
    GUID formatType = GUID_NULL;
    std::vector<BYTE> format;

    /// GUID_NULL stands for any.
    bool Fits(const MediaType& other) const;

    /// Fills `out` with memory of its own, as pins hand media types out.
    void CopyTo(AM_MEDIA_TYPE* out) const;
};

/// A copy in a structure of its own.
AM_MEDIA_TYPE* HandOut(const MediaType& type);

inline MediaType Major(const GUID& major) {
    return {major, GUID_NULL, GUID_NULL, {}};
}
/// MEDIATYPE_Video without a format block.
inline MediaType Video() {
    return Major(MEDIATYPE_Video);
}
inline MediaType Audio() {
    return Major(MEDIATYPE_Audio);
}
inline MediaType Text() {
    return Major(MEDIATYPE_Text);
}
inline MediaType Stream() {
    return Major(MEDIATYPE_Stream);
}
/// A VIDEOINFOHEADER (or VIDEOINFOHEADER2) whose target is 0, 0, width, height.
MediaType Video(long width, long height, long long frameTime = 400000, bool header2 = false);
/// A WAVEFORMATEX.
MediaType Audio(unsigned long rate, unsigned short channels = 2, unsigned short bits = 16);

/// CoTaskMemAlloc for what a fake hands to its caller, with a copy of the data. Blocks that the
/// caller does not free are found; media types carry an object in their pUnk, which the ledger
/// lists until they are freed.
void* NewTaskCopy(const void* data, std::size_t size, const char* what);

/// What was handed out and is not freed; forgets it.
std::vector<std::string> TakeUnfreedTaskMemory();

} // namespace fakes
