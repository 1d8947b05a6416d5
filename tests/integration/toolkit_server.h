#pragma once

#include <windows.h>

/// The filter of the DLLs that the registration tests use, and its key.
const GUID kServerClass = {
    0xb5f0c1a2, 0x6d0e, 0x4c3b, {0x9e, 0x43, 0x5f, 0x1d, 0x2a, 0x7c, 0x90, 0x04}};
const char kServerKey[] = "CLSID\\{B5F0C1A2-6D0E-4C3B-9E43-5F1D2A7C9004}";

/// Beside the test; the plain one has no entry points for registration.
const char kServerDll[] = "toolkit_server.dll";
const char kPlainDll[] = "toolkit_plain.dll";
