// Each allocation of the functions that allocate fails once in turn: no exception gets out,
// the answer is a documented one, and no reference is lost or kept.
#include "toolkit_shortage.h"
#include "toolkit_support.h"

namespace {

using namespace toolkit_test;

class Memory : public ToolkitTest {};

struct Allocating {
    const char* name;
    bool fallsShort; // a list that an inner function cut short may do
    int (*run)(Scene& scene, std::vector<IPin*>& pins, std::string& text);
};

const std::string kPath = "a path that does not fit into a string object.avi";
const std::string kClass = "{B5F0C1A2-6D0E-4C3B-9E43-5F1D2A7C90FE}";

const Allocating kFunctions[] = {
    {"GetUnlinkedPins", false,
     [](Scene& s, std::vector<IPin*>& pins, std::string&) {
         GetUnlinkedPins(s.splitter, &pins, &pins);
         return 0;
     }},
    {"GetUnlinkedOutputPinsFromFilter", false,
     [](Scene& s, std::vector<IPin*>& pins, std::string&) {
         GetUnlinkedOutputPinsFromFilter(s.source, &pins);
         return 0;
     }},
    {"GetFirstUnlinkedOutputPinFromFilter", false,
     [](Scene& s, std::vector<IPin*>&, std::string&) {
         ComPtr<IPin> pin;
         GetFirstUnlinkedOutputPinFromFilter(s.source, pin.GetAddressOf());
         return pin ? 1 : 0;
     }},
    {"LinkFilter", true,
     [](Scene& s, std::vector<IPin*>&, std::string&) {
         return LinkFilter(s.graph.Get(), s.splitter, s.sound.Get());
     }},
    {"LinkFilter pin", false,
     [](Scene& s, std::vector<IPin*>&, std::string&) {
         return LinkFilter(s.graph.Get(), &s.splitter->OutPin(), s.sound.Get());
     }},
    {"UnlinkGraphBuilder", false,
     [](Scene& s, std::vector<IPin*>&, std::string&) { return UnlinkGraphBuilder(s.graph.Get()); }},
    {"TryLinkRenderToFilter", true,
     [](Scene& s, std::vector<IPin*>&, std::string&) {
         return TryLinkRenderToFilter(s.graph.Get(), s.sound.Get(), s.source, nullptr, nullptr,
                                      nullptr, nullptr);
     }},
    {"GetLinkedTrackNum", false,
     [](Scene& s, std::vector<IPin*>&, std::string&) {
         return GetLinkedTrackNum(s.graph.Get(), s.source, nullptr, nullptr, nullptr);
     }},
    {"TrySourceFilter", false,
     [](Scene& s, std::vector<IPin*>&, std::string&) { return TrySourceFilter(kPath, s.source); }},
    {"FindFileNameFromCLSID", false,
     [](Scene&, std::vector<IPin*>&, std::string& text) {
         return FindFileNameFromCLSID(kClass, text) ? 1 : 0;
     }},
    {"FindFileNameFromCLSID by GUID", false,
     [](Scene& s, std::vector<IPin*>&, std::string& text) {
         return FindFileNameFromCLSID(s.source->clsid, text) ? 1 : 0;
     }},
};

TEST_F(Memory, EachAllocationFailsOnce) {
    for (const Allocating& function : kFunctions) {
        SCOPED_TRACE(function.name);
        bool hit = true;
        std::size_t n = 1;
        for (; hit && n < 100; ++n) {
            SCOPED_TRACE(n);
            Scene scene;
            std::vector<IPin*> pins;
            std::string text;
            int answer = 0;
            {
                const Shortage shortage(n);
                answer = function.run(scene, pins, text);
                hit = shortage.Hit();
            }
            TakeNames(pins);
            if (hit) {
                EXPECT_TRUE(answer == 0 || function.fallsShort);
            }
        }
        EXPECT_GT(n, 2u) << "allocates nothing";
        EXPECT_LT(n, 100u);
    }
}

// Its lists are filled by functions that give short ones when memory runs out, so that it
// may still answer that it started.
TEST_F(Memory, RenderingASourceFallsShort) {
    bool hit = true;
    for (std::size_t n = 1; hit; ++n) {
        SCOPED_TRACE(n);
        Scene scene;
        std::vector<IBaseFilter*> renders{scene.video.Get(), scene.sound.Get()};
        Counters counters;
        int answer = 0;
        {
            const Shortage shortage(n);
            answer = TryRenderSource(scene.graph.Get(), scene.source, renders, &counters.video,
                                     &counters.audio, &counters.text);
            hit = shortage.Hit();
        }
        const unsigned int linked = (IsFilterLinked(scene.video.Get()) ? 1u : 0u) +
                                    (IsFilterLinked(scene.sound.Get()) ? 1u : 0u);
        if (answer == 1) {
            EXPECT_EQ(counters.video + counters.audio, linked);
            EXPECT_TRUE(hit || linked == 2);
        } else {
            EXPECT_TRUE(hit);
            EXPECT_EQ(counters.Kinds(), (Kinds{77, 77, 77}));
        }
    }
}

} // namespace
