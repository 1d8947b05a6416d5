#pragma once

// YMDSPLAYER_BUILD is set while the library itself is compiled.
#if defined(YMDSPLAYER_BUILD)
#define YMDSHOW_API __declspec(dllexport)
#else
#define YMDSHOW_API __declspec(dllimport)
#endif
