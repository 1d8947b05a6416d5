#pragma once

#include <string>

namespace ymdshow::toolkit {

/// What a call that fails tells beside its HRESULT (GetErrorInfo), from the construction on:
/// what an earlier call has left is forgotten.
class ToldError {
public:
    ToldError();
    /// Takes the text; empty without one.
    std::wstring Take() const;
};

} // namespace ymdshow::toolkit
