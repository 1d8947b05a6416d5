// Loads arbitrary scripts and looks at what came of them. The first byte chooses: bit 0
// replace or merge, bit 1 the bytes of a file or a script text.

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <set>

#include <sys/mman.h>
#include <unistd.h>
#include <ymdshow/CoderScheme.h>

using namespace ymdshow;

namespace {

bool LoadFile(CCoderScheme& set, const std::string& bytes, bool replace) {
    const int file = memfd_create("script", 0);
    assert(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    const bool loaded = set.LoadScheme("/proc/self/fd/" + std::to_string(file), replace);
    close(file);
    return loaded;
}

/// Every entry of every list is alive; after one load that replaces, what may stand only
/// once does so.
void CheckLists(CCoderScheme& set, bool isReplaced) {
    for (const std::string& type : set.GetSchemeTypes()) {
        CCoderScheme::Scheme* scheme = nullptr;
        assert(set.FindScheme(type, &scheme) && type.find(';') == type.npos);
        std::set<std::wstring> seen;
        for (const FilterInfo* info : scheme->listFilter) {
            assert(seen.insert(info->strName).second || !info->bOnlyOne || !isReplaced);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const bool replace = size > 0 && (data[0] & 1) != 0;
    const bool isFile = size > 0 && (data[0] & 2) != 0;
    const std::string text(data + std::min<std::size_t>(size, 1), data + size);

    CCoderScheme set;
    const bool loaded =
        isFile ? LoadFile(set, text, replace) : set.LoadSchemeByScript(text, replace);
    const SchemeLoadReport& report = set.GetLoadReport();
    assert(loaded == (report.failure == SchemeLoadReport::Failure::None));
    assert(loaded ? report.failureReason.empty() : report.entries.empty());
    for (const SchemeLoadReport::Entry& entry : report.entries) {
        assert(entry.line - 1 < size && entry.column - 1 < size);
        assert(!entry.place.empty() && !entry.reason.empty());
    }
    const std::vector<std::string> types = set.GetSchemeTypes();
    assert(loaded || types.empty());
    CheckLists(set, replace);

    // A copy outlives its source, and another load and merge.
    CCoderScheme copy(set);
    assert(set.LoadSchemeByScript(text, 0) == loaded || isFile);
    CheckLists(set, false);
    set.UnloadScheme();
    CCoderScheme::Scheme merged;
    assert(copy.ConfigScheme(types, merged) && copy.GetSchemeTypes() == types);
    CheckLists(copy, replace);
    return 0;
}
