#pragma once

#include <string>

namespace ymds {

/// A file or URL as the library takes it; why the file cannot be played goes to `trouble`, which
/// is left alone otherwise.
std::wstring MediaPath(const std::wstring& file, std::wstring& trouble);

/// The absolute form of a path.
std::wstring FullPath(const std::wstring& path);

/// `file` without its directories and extension.
std::wstring Stem(const std::wstring& file);

} // namespace ymds
