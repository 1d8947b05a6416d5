#pragma once

#include <windows.h>

constexpr GUID kTestClock = {0x3b0c55d1, 1, 0, {}};
constexpr GUID kTestClaimsSuccess = {0x3b0c55d1, 2, 0, {}};
constexpr GUID kTestLeavesGarbage = {0x3b0c55d1, 3, 0, {}};
constexpr GUID kTestThrows = {0x3b0c55d1, 4, 0, {}};
