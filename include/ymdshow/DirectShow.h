#pragma once

#include <windows.h>

// Without this, dshow.h includes strsafe.h, which forbids functions that <string> and <cwchar>
// declare.
#if !defined(NO_DSHOW_STRSAFE)
#define NO_DSHOW_STRSAFE
#endif
#include <dshow.h>
