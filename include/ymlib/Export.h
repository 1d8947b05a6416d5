#pragma once

// YMLIB_BUILD is set while the utility library itself is compiled.
#if defined(YMLIB_BUILD)
#define YMLIB_API __declspec(dllexport)
#else
#define YMLIB_API __declspec(dllimport)
#endif
