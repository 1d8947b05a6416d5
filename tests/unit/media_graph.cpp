#include "media_graph.h"

#include <algorithm>
#include <sstream>

namespace media_tests {

MediaType TypeOf(char kind) {
    return kind == 'v' ? fakes::Video() : kind == 'a' ? fakes::Audio() : fakes::Text();
}

PinSpecs Outs(const std::string& kinds) {
    PinSpecs pins;
    for (const char kind : kinds) {
        pins.push_back(Out(TypeOf(kind)));
    }
    return pins;
}

Lines Facts(Media& media) {
    Lines facts;
    const auto add = [&facts](const auto&... parts) {
        std::ostringstream line;
        (..., (line << (line.tellp() > 0 ? " " : "") << parts));
        facts.push_back(line.str());
    };
    const auto tracks = [&add](const char* kind, const auto& list, const auto& streams) {
        for (const auto* track : list) {
            add(kind, AsFake(track->renderer)->Name(), track->enabled, track->linked,
                track->brokenLinks.size());
        }
        for (const auto* stream : streams) {
            add(kind, "stream", stream->index, stream->enabled);
        }
    };
    add("known", media.m_originalVideoTrackNum, media.m_originalAudioTrackNum, "found",
        media.m_videoTrackNum, media.m_audioTrackNum, "streams", media.m_streamSelectVideoNum,
        media.m_streamSelectAudioNum);
    tracks("video", media.m_videoTracks, media.m_streamSelectVideoTracks);
    tracks("audio", media.m_audioTracks, media.m_streamSelectAudioTracks);
    for (const ymdshow::VideoInfo& info : media.m_videoInfos) {
        add("video record", info.format, info.width, info.height, info.avgFrameTime);
    }
    for (const ymdshow::AudioInfo& info : media.m_audioInfos) {
        add("audio record", info.format, info.samplingRate, info.channels, info.bitDepth);
    }
    add("picture", media.GetVideoOriginalWidth(), media.GetVideoOriginalHeight());
    for (const std::int32_t side : media.m_videoDisplayRange) {
        add("display", side);
    }
    for (const auto* list :
         {&media.m_schemeFilters, &media.m_renderFilters, &media.m_usedFilters}) {
        std::string names;
        for (IBaseFilter* filter : *list) {
            names += AsFake(filter)->Name() + " ";
        }
        add("filters", names);
    }
    return facts;
}

FakeFilterClass& MediaGraphTest::Describe(const std::string& type, const std::string& name,
                                          const PinSpecs& pins,
                                          std::function<void(FakeFilter&)> configure,
                                          const std::string& more) {
    const auto has = [&pins](PIN_DIRECTION direction) {
        return std::any_of(pins.begin(), pins.end(),
                           [&](const PinSpec& pin) { return pin.direction == direction; });
    };
    const char* const role = !has(PINDIR_INPUT)   ? "source"
                             : has(PINDIR_OUTPUT) ? "transform"
                                                  : "render";
    GUID clsid = {0x5f0a9000, 0x11ea, 0x4c57, {0x9d, 0x2b, 0, 0, 0, 0, 0, 0}};
    clsid.Data1 += static_cast<unsigned long>(m_classes.size());
    char number[16];
    snprintf(number, sizeof number, "%08lx", clsid.Data1);
    const std::string script = R"({"Schemes":[{"Type":")" + type + R"(","Filters":[{"Name":")" +
                               name + R"(","Type":")" + role + R"(","CLSID":"{)" + number +
                               R"(-11ea-4c57-9d2b-000000000000}")" + more + "}]}]}";
    EXPECT_TRUE(scheme.LoadSchemeByScript(script, 0)) << script;
    m_classes.push_back(std::make_unique<FakeFilterClass>(name, clsid, pins, std::move(configure)));
    return *m_classes.back();
}

Lines MediaGraphTest::Changes() {
    constexpr const char* kPatterns[] = {
        "*.Load(*",        "*.Enable(*",     "graph.Add*",        "graph.RemoveFilter(*",
        "graph.Connect(*", "graph.Render(*", "graph.Disconnect*", "config.AddFilterToCache*",
    };
    Lines lines = journal.Take();
    std::erase_if(lines, [&](const std::string& line) {
        return std::none_of(std::begin(kPatterns), std::end(kPatterns),
                            [&](const char* pattern) { return Matches(line, pattern); });
    });
    return lines;
}

Lines MediaGraphTest::Warnings(const std::string& function) {
    const std::string start = "8 ymdshow::CMedia::" + function + ": ";
    Lines texts;
    for (const std::string& line : log.Take()) {
        if (line.starts_with(start)) {
            texts.push_back(line.substr(start.size()));
        }
    }
    return texts;
}

void MediaGraphTest::RenderThroughDecoders(FakeGraph& graph) {
    graph.onRender = [&graph](FakePin& out) {
        const std::string number = out.Name().substr(out.Name().find(".Out") + 4);
        const PinSpec in{PINDIR_INPUT, out.types, {}};
        FakeFilter* decoder = graph.Find("Dec" + number);
        FakeFilter* renderer = graph.Find("Ren" + number);
        if (decoder == nullptr) {
            decoder = &graph.Add("Dec" + number, {In(), {PINDIR_OUTPUT, out.types, {}}});
            renderer = &graph.Add("Ren" + number, {in});
        }
        Join(out, decoder->InPin());
        Join(*decoder, *renderer);
        return S_OK;
    };
}

} // namespace media_tests
