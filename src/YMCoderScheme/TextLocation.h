#pragma once

#include "YMCoderScheme/ScriptText.h"

namespace ymdshow {

/// Lines and columns of ascending offsets. A line ends with CR LF, LF or CR. Text that
/// is not known to be UTF-8 is counted as UTF-8 in lines that are, else in characters
/// of code page 936.
std::vector<TextPosition> LocateOffsets(std::string_view text, bool isUtf8,
                                        const std::vector<std::size_t>& offsets);

} // namespace ymdshow
