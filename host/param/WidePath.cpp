#include "host/param/WidePath.h"

namespace VX {
namespace Host {
namespace Param {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendUtf8(std::string& out, char32_t cp) {
    if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) {
        cp = kReplacement;
    }
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

} // namespace

std::string utf8FromUtf32(const std::u32string& text) {
    std::string out;
    out.reserve(text.size());
    for (char32_t cp : text) {
        appendUtf8(out, cp);
    }
    return out;
}

std::string utf8FromUtf16(const std::u16string& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t unit = text[i];
        if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            const char32_t low = text[++i];
            appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        } else {
            // A lone surrogate falls to the replacement character here.
            appendUtf8(out, unit);
        }
    }
    return out;
}

std::string wideToUtf8(const std::wstring& text) {
    if constexpr (sizeof(wchar_t) == 2) {
        return utf8FromUtf16(std::u16string(text.begin(), text.end()));
    } else {
        std::u32string units;
        units.reserve(text.size());
        for (wchar_t unit : text) {
            // Through the unsigned type of the same width: a negative
            // wchar_t is no code point and must land above U+10FFFF.
            units.push_back(static_cast<char32_t>(unit));
        }
        return utf8FromUtf32(units);
    }
}

} // namespace Param
} // namespace Host
} // namespace VX
