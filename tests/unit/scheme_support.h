#pragma once

#include <gtest/gtest.h>

#include <ymdshow/CoderScheme.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace scheme_tests {

/// The names of a list, separated by commas; narrow where they are ASCII.
inline std::string Names(const ymdshow::CCoderScheme::Scheme& scheme) {
    std::string names;
    for (const ymdshow::FilterInfo* info : scheme.listFilter) {
        names += names.empty() ? "" : ",";
        for (const wchar_t c : info->strName) {
            names += c < 0x80 ? static_cast<char>(c) : '?';
        }
    }
    return names;
}

/// All of a scheme set: "mov=a,b mp4=a".
inline std::string Describe(ymdshow::CCoderScheme& set) {
    std::string text;
    for (const std::string& type : set.GetSchemeTypes()) {
        ymdshow::CCoderScheme::Scheme* scheme = nullptr;
        text += (text.empty() ? "" : " ") + type + "=";
        text += set.FindScheme(type, &scheme) ? Names(*scheme) : "(not found)";
    }
    return text;
}

/// The filter at `index` of a type's list; null when there is none.
inline const ymdshow::FilterInfo* FilterOf(ymdshow::CCoderScheme& set, const std::string& type,
                                           std::size_t index = 0) {
    ymdshow::CCoderScheme::Scheme* scheme = nullptr;
    if (!set.FindScheme(type, &scheme) || scheme->listFilter.size() <= index) {
        return nullptr;
    }
    return *std::next(scheme->listFilter.begin(), static_cast<std::ptrdiff_t>(index));
}

/// A filter object; `more` is appended to its members.
inline std::string Filter(const std::string& name, const std::string& more = "") {
    return R"({"Name":")" + name + R"(","CLSID":"{11111111-2222-3333-4444-555555555555}")" + more +
           "}";
}

/// A script with one scheme.
inline std::string Script(const std::string& type, const std::string& filters,
                          const std::string& shared = "") {
    return R"({"Filter":[)" + shared + R"(],"Schemes":[{"Type":")" + type + R"(","Filters":[)" +
           filters + "]}]}";
}

/// What a script makes of an empty set.
inline ymdshow::CCoderScheme Loaded(const std::string& script) {
    ymdshow::CCoderScheme set;
    EXPECT_TRUE(set.LoadSchemeByScript(script, 0)) << script.substr(0, 200);
    return set;
}

/// A file that is gone with this object.
class TempFile {
public:
    TempFile(const std::wstring& name, const std::string& bytes) : m_path(name) {
        std::ofstream(m_path, std::ios::binary) << bytes;
    }
    ~TempFile() {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    std::wstring Path() const { return m_path.wstring(); }

private:
    std::filesystem::path m_path;
};

} // namespace scheme_tests
