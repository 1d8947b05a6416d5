#pragma once

// What the files of a media item share.

#include <windows.h>

#include <wrl/client.h>

#include <new>

#include "BaseClasses/InterfaceIds.h"

#define YMD_LOG_SOURCE "src/YMMedia"
#include "Log.h"

namespace ymdshow {

using Microsoft::WRL::ComPtr;

/// Gives a member's reference back and clears it.
template <class T> void ReleaseMember(T*& member) {
    if (member != nullptr) {
        member->Release();
        member = nullptr;
    }
}

/// Runs an operation that answers with a result; running out of memory in it is answered
/// with `failure`.
template <class Result, class Operation>
Result OrWhenOutOfMemory(Result failure, Operation&& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return failure;
    }
}

} // namespace ymdshow
