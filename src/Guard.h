#pragma once

#include <utility>

namespace ymdshow {

/// Runs the body of an exported operation: whatever is thrown in it, by memory that runs out, a
/// filter or a callback, becomes the operation's failure value.
template <class Result, class Body> Result AnswerOr(Result failure, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return failure;
    }
}

/// The same for an operation without a result.
template <class Body> void Quietly(Body&& body) {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        // What it has done so far stays.
    }
}

} // namespace ymdshow
