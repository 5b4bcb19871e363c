#pragma once

#include <cstddef>
#include <string>

namespace TSR {

// The string of every call into the dataset library. It keeps the text in wide characters, so a
// path handed over as UTF-8 and the same path handed over as a wide string are one key.
class CString
{
public:
    static constexpr std::size_t npos = std::wstring::npos;

    CString();
    CString(const char* utf8);
    CString(const std::wstring& text);
    CString(const CString& other);
    CString(CString&& other) noexcept;
    ~CString();

    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const std::wstring& text);

    bool operator<(const CString& other) const;
    CString& operator+=(const char* utf8);

    void clear();
    bool empty() const;
    std::size_t length() const;
    CString substr(std::size_t pos, std::size_t count = npos) const;
    std::size_t find_first_of(const std::wstring& characters, std::size_t pos = 0) const;

    // The whole text as a 32-bit signed integer, blanks around it allowed; 0 when it is not one.
    int ToINT32(bool* ok = nullptr) const;

    // Valid until the string is next changed.
    const char* utf8_str() const;

private:
    std::wstring text;
    mutable std::string utf8;
    mutable bool utf8Valid = false;
};

}  // namespace TSR
