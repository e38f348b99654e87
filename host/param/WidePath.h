#pragma once

// Opening files named by wide strings. Windows takes the wide name as it is;
// elsewhere the file system wants bytes, and the name is given as UTF-8.

#include <cstdio>
#include <string>

namespace VX {
namespace Host {
namespace Param {

// UTF-8 for UTF-32 and UTF-16 text. Code points that cannot be encoded
// (surrogates in UTF-32, unpaired surrogates in UTF-16, values above
// U+10FFFF) become U+FFFD.
std::string utf8FromUtf32(const std::u32string& text);
std::string utf8FromUtf16(const std::u16string& text);
// The platform's wide string as UTF-8, whichever of the two wchar_t holds.
std::string wideToUtf8(const std::wstring& text);

// Opens the file in text mode, for writing (created or truncated) or for
// reading. Returns null when it cannot be opened, and for a name with an
// embedded NUL, which would otherwise name some other file.
std::FILE* openWidePath(const std::wstring& path, bool forWriting);

} // namespace Param
} // namespace Host
} // namespace VX
