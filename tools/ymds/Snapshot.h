#pragma once

#include <string>

#include <ymdshow/ymdshow.h>

#include "Dib.h"

namespace ymds {

/// Copies the picture that a playing or paused item shows. A playing item is paused for it
/// and, with `resume`, goes on. Window
/// messages are served while it waits. Answers why there is none; empty on success.
std::wstring TakePicture(ymdshow::CMedia& media, bool resume, Picture& picture);

/// Writes a PNG file. Answers why it could not; empty on success.
std::wstring SavePng(const Picture& picture, const std::wstring& path);

} // namespace ymds
