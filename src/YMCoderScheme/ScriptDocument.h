#pragma once

#include "YMCoderScheme/ScriptText.h"

#include <cstddef>
#include <string>

#include <ymlib/Json.h>

namespace ymdshow {

/// A parsed script. Refers to the text that it was parsed from.
class ScriptDocument {
public:
    explicit ScriptDocument(const ScriptText& text) : m_text(text) {}
    ScriptDocument(const ScriptDocument&) = delete;
    ScriptDocument& operator=(const ScriptDocument&) = delete;

    /// What the JSON reader did not understand.
    struct SyntaxError {
        std::size_t offset = 0; ///< in ScriptText::ForReader
        std::string message;
    };

    /// False with `error` filled when the text is no JSON. Comments are allowed, and
    /// what stands behind the document is not looked at.
    bool Parse(SyntaxError& error);

    const Json::Value& Root() const { return m_root; }

    /// The value of a string as UTF-16: decoded as UTF-8 when it is surely that, else
    /// converted from code page 936. Empty when neither is possible.
    void GetWide(const Json::Value& string, std::wstring& wide) const;

    /// The value of a string in code page 936: its bytes as they stand where the script
    /// is in that code page. False when a character was lost on the way.
    bool GetNarrow(const Json::Value& string, std::string& narrow) const;

private:
    bool HasEscape(const Json::Value& string) const;

    const ScriptText& m_text;
    Json::Value m_root;
};

} // namespace ymdshow
