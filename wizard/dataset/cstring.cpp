#include "wizard/dataset/cstring.h"

#include <QString>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cwctype>

namespace TSR {

CString::CString() = default;

CString::CString(const char* utf8)
    : text(utf8 ? QString::fromUtf8(utf8).toStdWString() : std::wstring())
{}

CString::CString(const std::wstring& text)
    : text(text)
{}

CString::CString(const CString& other) = default;

CString::CString(CString&& other) noexcept
    : text(std::move(other.text))
{
    other.utf8Valid = false;
}

CString::~CString() = default;

CString& CString::operator=(const CString& other)
{
    if (this != &other) {
        text = other.text;
        utf8Valid = false;
    }
    return *this;
}

CString& CString::operator=(CString&& other) noexcept
{
    if (this != &other) {
        text = std::move(other.text);
        utf8Valid = false;
        other.utf8Valid = false;
    }
    return *this;
}

CString& CString::operator=(const std::wstring& newText)
{
    text = newText;
    utf8Valid = false;
    return *this;
}

bool CString::operator<(const CString& other) const
{
    return text < other.text;
}

CString& CString::operator+=(const char* utf8Text)
{
    if (utf8Text) {
        text += QString::fromUtf8(utf8Text).toStdWString();
        utf8Valid = false;
    }
    return *this;
}

void CString::clear()
{
    text.clear();
    utf8Valid = false;
}

bool CString::empty() const
{
    return text.empty();
}

std::size_t CString::length() const
{
    return text.length();
}

CString CString::substr(std::size_t pos, std::size_t count) const
{
    if (pos > text.length())
        return CString();
    return CString(text.substr(pos, count));
}

std::size_t CString::find_first_of(const std::wstring& characters, std::size_t pos) const
{
    return text.find_first_of(characters, pos);
}

int CString::ToINT32(bool* ok) const
{
    if (ok)
        *ok = false;
    const wchar_t* begin = text.c_str();
    while (std::iswspace(static_cast<wint_t>(*begin)))
        ++begin;
    if (*begin == L'\0')
        return 0;
    wchar_t* end = nullptr;
    errno = 0;
    const long long value = std::wcstoll(begin, &end, 10);
    if (end == begin || errno == ERANGE || value < INT_MIN || value > INT_MAX)
        return 0;
    while (std::iswspace(static_cast<wint_t>(*end)))
        ++end;
    if (*end != L'\0')
        return 0;
    if (ok)
        *ok = true;
    return static_cast<int>(value);
}

const char* CString::utf8_str() const
{
    if (!utf8Valid) {
        utf8 = QString::fromStdWString(text).toUtf8().toStdString();
        utf8Valid = true;
    }
    return utf8.c_str();
}

}  // namespace TSR
