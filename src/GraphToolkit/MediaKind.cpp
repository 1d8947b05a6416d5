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

} // namespace ymdshow::toolkit
