#include "integration/modules_support.h"

#include "unit/media_resources.h"

#include <cstdlib>

namespace modules {

std::vector<TestRecord> Records(IBaseFilter* renderer, LONG kind) {
    ComPtr<ITestRecorder> recorder;
    ULONG count = 0;
    EXPECT_EQ(renderer->QueryInterface(IID_PPV_ARGS(&recorder)), S_OK);
    recorder->GetCount(&count);
    std::vector<TestRecord> records(count);
    recorder->GetRecords(0, count, records.data(), nullptr);
    std::erase_if(records, [&](const TestRecord& record) {
        return kind != TestRecord::KindCount && record.kind != kind;
    });
    return records;
}

std::string Sample(const std::string& name) {
    const char* const directory = std::getenv("YMD_MEDIA_DIR");
    return std::string(directory != nullptr ? directory : "") + "\\" + name;
}

unsigned HandlesKeptByGraphs(int count) {
    const auto make = [](int graphs) {
        for (int i = 0; i < graphs; ++i) {
            ComPtr<IGraphBuilder> graph;
            CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER,
                             IID_PPV_ARGS(&graph));
        }
    };
    make(2);
    const unsigned before = media_tests::Resources::Now().handles;
    make(10);
    return (media_tests::Resources::Now().handles - before) * static_cast<unsigned>(count) / 10;
}

} // namespace modules
