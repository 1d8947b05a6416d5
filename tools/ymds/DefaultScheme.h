#pragma once

#include <ymdshow/CoderScheme.h>

namespace ymds {

/// Fills an empty scheme set with what the program plays by when no script is named: the
/// pattern source for "test://...", and under Wine a renderer that can be used.
bool UseDefaultScheme(ymdshow::CCoderScheme& scheme);

} // namespace ymds
