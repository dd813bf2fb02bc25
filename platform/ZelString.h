#pragma once

#include <string>

#include "ZelExport.h"

// Wide-character string used for text.
class ZEL_API ZelString {
public:
    ZelString() = default;
    ZelString(const wchar_t* text) : m_text(text ? text : L"") {}
    ZelString(const wchar_t* text, int length)
        : m_text(text ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring())
    {
    }
    ZelString(std::wstring text) : m_text(std::move(text)) {}

    int Length() const { return static_cast<int>(m_text.size()); }
    const wchar_t* Text() const { return m_text.c_str(); }
    wchar_t operator[](int index) const { return m_text[static_cast<std::size_t>(index)]; }
    wchar_t& operator[](int index) { return m_text[static_cast<std::size_t>(index)]; }

    // Characters [start, start + count), clipped to the string; count < 0 means
    // "to the end".
    ZelString Substring(int start, int count = -1) const
    {
        const int n = Length();
        if (start < 0) start = 0;
        if (start >= n) return ZelString();
        if (count < 0 || count > n - start) count = n - start;
        return ZelString(m_text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
    }

    bool operator==(const ZelString& other) const { return m_text == other.m_text; }
    bool operator!=(const ZelString& other) const { return m_text != other.m_text; }

private:
    std::wstring m_text;
};
