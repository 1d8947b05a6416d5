#pragma once

#include <utility>

namespace ymdshow::toolkit {

/// Runs the body of an exported function that allocates: an exception becomes the failure
/// value.
template <typename Result, typename Body> Result AnswerOr(Result failure, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return failure;
    }
}

/// The same for a function without a result.
template <typename Body> void Quietly(Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        // What was appended so far stays with the caller.
    }
}

} // namespace ymdshow::toolkit
