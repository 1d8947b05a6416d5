#pragma once

// Media items on the system's graph manager: the project's test filters by a script, the
// system's filters for files.

#include <ymdshow/ymdshow.h>

#include "fakes/LogCapture.h"
#include "integration/modules_support.h"

namespace media_tests {

using namespace modules;

/// For what comes at once on an idle machine.
constexpr long kPatience = 30000;

class RealMediaTest : public testing::Test {
protected:
    RealMediaTest();
    ~RealMediaTest() override;

    using Names = std::vector<std::string>;

    /// Plays "test://..." by these filters of the script: the recording renderers, or the
    /// system's "Window", which also is the one for files.
    void UseScript(const Names& filters = {"Source", "Picture", "Sound", "Sound"});

    /// Loads a clip of the test source.
    void Load(const std::string& path,
              const Names& filters = {"Source", "Picture", "Sound", "Sound"});

    /// Loads a sample through the system's filters. They may leave a stream out: then once more.
    void LoadFile(const std::string& name, unsigned tracks = 1);

    /// Stops and waits for the graph's clock to rest.
    void StopQuietly();
    bool Ended(int times) {
        return Within(2 * kPatience, [&] { return ends >= times; });
    }

    /// Frames that the picture's recorder has got: before any segment, then in each.
    std::vector<std::vector<LONG>> Frames();
    ComPtr<ITestRecorder> Recorder(IBaseFilter* renderer);

    fakes::LogCapture log;
    std::atomic<int> ends{0};
    ymdshow::CMediaPlayer player; ///< for its schemes
    ymdshow::CMedia media{&player};
};

} // namespace media_tests
