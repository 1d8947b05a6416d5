#include <ymdshow/StreamInfo.h>

#include <cmath>

namespace ymdshow {

VideoInfo::~VideoInfo() = default;

bool VideoInfo::IsDisplayAspectRatioVaild() const {
    const float pixelRatio = static_cast<float>(width) / static_cast<float>(height);
    return displayAspectRatio > 0.0F && std::fabs(displayAspectRatio - pixelRatio) > 0.1F;
}

AudioInfo::~AudioInfo() = default;

} // namespace ymdshow
