#pragma once

// Media items on the system's graph manager: the project's test filters by a script, the
// system's filters for files.

#include <ymdshow/ymdshow.h>

#include "fakes/LogCapture.h"
#include "integration/modules_support.h"

namespace media_tests {

using modules::ComPtr;
using modules::kMillisecond;
using modules::kSecond;
using modules::Sample;
using modules::Within;

/// For what comes at once on an idle machine.
constexpr long kPatience = 30000;

class RealMediaTest : public testing::Test {
protected:
    RealMediaTest();
    ~RealMediaTest() override;

    /// The test source, decoder and three renderers for "test://...", one for pictures:
    /// "Picture", which records, or the system's "Window", which also is the one for files.
    void UseScript(const std::string& renderer = "Picture", const std::string& more = "");

    /// Loads a clip of the test source.
    void Load(const std::string& path, const std::string& renderer = "Picture");

    /// Loads a sample through the system's filters. They may leave a stream out: then once more.
    void LoadFile(const std::string& name, unsigned tracks = 1);

    /// Stops and waits for the graph's clock to rest.
    void StopQuietly();
    bool Ended(int times) {
        return Within(2 * kPatience, [&] { return ends >= times; });
    }

    /// Samples that the picture's recorder has got since the last segment or since Clear.
    std::vector<TestRecord> Shown();
    ComPtr<ITestRecorder> Recorder(IBaseFilter* renderer);

    fakes::LogCapture log;
    std::atomic<int> ends{0};
    ymdshow::CMediaPlayer player; ///< for its schemes
    ymdshow::CMedia media{&player};
};

} // namespace media_tests
