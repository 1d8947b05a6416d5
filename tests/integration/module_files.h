#pragma once

// Media items on the media module's filters, by the script that ships, with nothing registered:
// the files of scripts/matrix.sh.

#include <map>
#include <optional>

#include "integration/media_support.h"

namespace media_tests {

/// A line of matrix.tsv, and when the file's pictures are shown (100 ns units).
struct MatrixFile {
    std::string name;
    unsigned videos = 0;
    unsigned audios = 0;
    int width = 0;
    int height = 0;
    double duration = 0; ///< in seconds, as the container says it
    double length = 0;   ///< and as its packets last
    std::vector<LONGLONG> times;

    /// The number of the picture that covers a time.
    int FrameAt(LONGLONG time) const;
};

/// Ends the process, which hangs, when it lives too long.
class Watchdog {
public:
    explicit Watchdog(int seconds);
    ~Watchdog();

private:
    const HANDLE m_done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread m_thread;
};

class ModuleTest : public RealMediaTest {
protected:
    ModuleTest();
    /// Nothing of the module is alive when a test has ended.
    ~ModuleTest() override;

    static const std::vector<MatrixFile>& Matrix();
    static const MatrixFile& File(const std::string& name);

    /// Loads a path or URL; false with the reason in the report.
    bool Open(const std::string& path);
    static std::string PathOf(const std::string& name) { return Sample("matrix\\" + name); }
    std::string Reason() { return testing::PrintToString(media.GetLoadReport().failure); }

    /// The renderers; null without a stream.
    IBaseFilter* Picture() {
        return media.GetVideoTrackNum() > 0 ? media.GetVideoTrackRender(0) : nullptr;
    }
    IBaseFilter* Sound() {
        return media.GetAudioTrackNum() > 0 ? media.GetAudioTrackRender(0) : nullptr;
    }

    /// Forgets what has been shown, then seeks.
    void Seek(LONGLONG time);
    /// What a renderer has shown of the segment that begins at `time`, at least `count` samples
    /// unless the stream ends before.
    std::vector<TestRecord> Shown(IBaseFilter* renderer, LONGLONG time, std::size_t count = 1);
    /// What is wrong with the pictures shown after a seek; empty when nothing is, or when they have
    /// no numbers.
    std::string JudgePictures(const MatrixFile& file, LONGLONG time, std::size_t count);

    /// Of the filters that are made from now on.
    GUID subtype = GUID_NULL;
    GUID format = GUID_NULL;

    std::atomic<int> aborts{0}; ///< EC_ERRORABORT
};

} // namespace media_tests
