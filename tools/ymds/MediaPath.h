#pragma once

#include <string>

namespace ymds {

/// A media path as the library takes it.
struct MediaPath {
    std::string library; ///< code page 936, absolute unless it is a URL
    std::wstring error;  ///< why it cannot be played; empty otherwise
};

/// Looks the file up and turns its name into the library's text. A name that code page 936
/// cannot express is replaced by the file's short name where it has one.
MediaPath ResolveMedia(const std::wstring& file);

/// The absolute form of a path.
std::wstring FullPath(const std::wstring& path);

/// `file` without its directories and extension.
std::wstring Stem(const std::wstring& file);

} // namespace ymds
