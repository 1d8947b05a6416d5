#pragma once

#include "YMCoderScheme/ScriptText.h"

#include <cstddef>
#include <memory>
#include <string>

#include <json/json.h>

namespace ymdshow {

/// A parsed script, or a part of one. Refers to the text that it was parsed from.
class ScriptDocument {
public:
    explicit ScriptDocument(const ScriptText& text);
    ~ScriptDocument();
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

    /// Parses one object, which takes up the whole range of ScriptText::ForReader. What
    /// was parsed before is gone.
    bool ParsePart(std::size_t begin, std::size_t end);

    /// Where a value begins in ScriptText::ForReader.
    std::size_t OffsetOf(const Json::Value& value) const;

    /// Its reader may take out what it has done with.
    Json::Value& Root() { return m_root; }

    /// The value of a string as UTF-16: decoded as UTF-8 when it is surely that, else
    /// converted from code page 936. Empty when neither is possible.
    void GetWide(const Json::Value& string, std::wstring& wide) const;

    /// The value of a string in code page 936: its bytes as they stand where the script
    /// is in that code page. False when a character was lost on the way.
    bool GetNarrow(const Json::Value& string, std::string& narrow) const;

private:
    bool HasEscape(const Json::Value& string) const;

    struct Reader;

    const ScriptText& m_text;
    std::unique_ptr<Reader> m_reader;
    Json::Value m_root;
    std::size_t m_begin = 0; ///< of the part that m_root was parsed from
};

} // namespace ymdshow
