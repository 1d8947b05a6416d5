#pragma once

#include <string>

#include <ymdshow/CoderScheme.h>

namespace ymds {

/// Fills an empty scheme set with what --scheme asks for. A name is that of a script in
/// "schemes" beside the program, "none" the system's own filters, anything else a script's
/// path. Nothing asks for "media". Why it cannot be had; empty when it can.
///
/// A script of "schemes" is joined by "renderers" there. But for a script of the user's, the
/// pattern source serves "test://..." too; with the system's own filters a renderer that can be
/// used stands in the graph under Wine.
std::wstring UseScheme(ymdshow::CCoderScheme& scheme, const std::wstring& wanted);

} // namespace ymds
