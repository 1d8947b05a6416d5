#pragma once

// Media items on the system's graph manager, their graph as text.

#include <string>
#include <vector>

#include <ymdshow/ymdshow.h>

#include "fakes/LogCapture.h"
#include "integration/modules_support.h"
#include "unit/media_resources.h"

namespace media_tests {

using modules::ComPtr;
using modules::Sample;
using modules::Within;
using Lines = std::vector<std::string>;

class RealMedia : public ymdshow::CMedia {
public:
    using CMedia::CMedia;
    using CMedia::m_audioInfos;
    using CMedia::m_audioTracks;
    using CMedia::m_pGB;
    using CMedia::m_pSourceFilter;
    using CMedia::m_usedFilters;
    using CMedia::m_videoInfos;

    /// "Source.Audio -> Sound.In", sorted, as the toolkit sees it.
    Lines Connections();

    /// Tracks, records, picture, duration and connections.
    Lines Facts();
};

class RealMediaTest : public testing::Test {
protected:
    RealMediaTest();
    ~RealMediaTest() override;

    /// A source and three renderers of the modules, one of them for pictures, by a script.
    void UseModules(const std::string& more = "");

    /// Stops and waits for the graph's clock to rest.
    void StopQuietly();

    /// "1 TrySourceFilter Source 0": the attempts of the last load.
    static Lines Attempts(const RealMedia& media);

    fakes::LogCapture log;
    ymdshow::CMediaPlayer player;
    RealMedia media{&player};
};

/// Whether a recording renderer gets samples from now on.
bool GoesOn(IBaseFilter* renderer);

} // namespace media_tests
