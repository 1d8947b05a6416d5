#include "GraphToolkit/MediaKind.h"

#include <dshow.h>

namespace ymdshow::toolkit {

DSPinMediaType KindOfMajorType(const GUID& majorType) noexcept {
    if (majorType == MEDIATYPE_Video) {
        return DSPMT_VIDEO;
    }
    if (majorType == MEDIATYPE_Audio) {
        return DSPMT_AUDIO;
    }
    if (majorType == MEDIATYPE_Text) {
        return DSPMT_TEXT;
    }
    return DSPMT_UNKNOWN;
}

void TrackCounts::Add(DSPinMediaType kind) noexcept {
    switch (kind) {
    case DSPMT_VIDEO:
        ++video;
        break;
    case DSPMT_AUDIO:
        ++audio;
        break;
    case DSPMT_TEXT:
        ++text;
        break;
    case DSPMT_UNKNOWN:
        break;
    }
}

void TrackCounts::Write(unsigned int* toVideo, unsigned int* toAudio,
                        unsigned int* toText) const noexcept {
    if (toVideo) {
        *toVideo = video;
    }
    if (toAudio) {
        *toAudio = audio;
    }
    if (toText) {
        *toText = text;
    }
}

} // namespace ymdshow::toolkit
