#pragma once

#include <stdexcept>
#include <utility>

namespace ymdshow {

/// A track index at or beyond the count: the one exception that leaves the library.
class IndexError : public std::runtime_error {
public:
    IndexError() : std::runtime_error("index out of range") {}
};

/// Runs the body of an exported operation: whatever is thrown in it, by memory that runs out, a
/// filter or a callback, becomes the operation's failure value.
template <class Result, class Body> Result AnswerOr(Result failure, Body&& body) {
    try {
        return std::forward<Body>(body)();
    } catch (const IndexError&) {
        throw;
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
