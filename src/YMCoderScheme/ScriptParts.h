#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace ymdshow {

/// Where the elements of a script's two arrays are in its text. Read one by one they need
/// little memory at a time and come out of the caches, which is faster than reading the
/// document as a whole.
struct ScriptParts {
    struct Range {
        std::size_t begin;
        std::size_t end;
    };

    std::vector<Range> filters;
    std::vector<Range> schemes;
};

/// Splits the text of a plain script: an object with an array "Schemes", perhaps an array
/// "Filter" and a "$schema", each once, and nothing but objects in the arrays. Whether the
/// elements are JSON is left open; if each is, and ends where its range does, the text is
/// for the JSON reader. False for every other text, which is not thereby wrong.
bool SplitScript(std::string_view text, ScriptParts& parts);

} // namespace ymdshow
