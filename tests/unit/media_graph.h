#pragma once

// Media items whose graph is looked into: schemes of fake filters, and
// what a test compares of a graph.

#include <memory>
#include <string>
#include <vector>

#include "media_fixture.h"

namespace media_tests {

/// Pins by letters: v for video, a for audio, t for text.
MediaType TypeOf(char kind);
PinSpecs Outs(const std::string& kinds);

/// Tracks, records and picture facts, one a line.
Lines Facts(Media& media);

class MediaGraphTest : public MediaTest {
protected:
    ymdshow::CCoderScheme scheme;

    /// Appends a filter to the scheme of a file type. Its role is the one that its pins say.
    FakeFilterClass& Describe(const std::string& type, const std::string& name,
                              const PinSpecs& pins,
                              std::function<void(FakeFilter&)> configure = nullptr,
                              const std::string& more = R"(,"IsCache":false)");

    /// The calls since the last look that changed a graph or a filter, in order.
    Lines Changes();

    /// The text of the warnings of one member function since the last look.
    Lines Warnings(const std::string& function);

    /// Loads it and forgets what was journalled and logged on the way.
    void LoadWith(Media& media, int flag = 0) {
        ASSERT_EQ(media.SetMediaPath(kPath), 1);
        ASSERT_EQ(media.Load(&scheme, flag), 1);
        journal.Clear();
        log.Clear();
    }

    /// Rendering puts a decoder of its own before each renderer: "Dec1" and "Ren1" for Out1.
    static void RenderThroughDecoders(FakeGraph& graph);

private:
    std::vector<std::unique_ptr<FakeFilterClass>> m_classes;
};

} // namespace media_tests
