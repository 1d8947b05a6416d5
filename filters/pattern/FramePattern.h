#pragma once

// The picture of the test clip. The top eighth of it is a band of 24 equal cells that
// says which frame it is: a white cell, a black cell, the frame number in 20 bits with the
// highest first (white is 1), a parity cell that makes the number of white bits odd, a
// white cell. Below stand eight colour bars, and the lowest quarter is grey. A reader needs
// the picture whole, at any size of 96 x 32 or more, scaled or captured from a screen,
// inverted or not.

#include <cstdint>
#include <functional>

namespace ymfilters {

/// Draws a frame as a bottom-up RGB32 picture.
void PaintFrame(std::uint32_t frame, int width, int height, std::uint32_t* pixels);

/// What a pixel's brightness is, 0 to 255, in a picture whose top left is (0, 0).
using Brightness = std::function<int(int x, int y)>;

/// The frame number in a picture, -1 when it holds none.
int ReadFrameNumber(int width, int height, const Brightness& brightness);

/// The same for a bottom-up RGB32 picture.
int ReadFrameNumber(int width, int height, const std::uint32_t* pixels);

} // namespace ymfilters
