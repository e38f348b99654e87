#include "host/param/ParamText.h"

#include <cstdlib>
#include <limits>
#include <locale>
#include <sstream>

namespace VX {
namespace Host {
namespace Param {
namespace Text {

namespace {

// The C locale's white space, tested directly: isspace() would depend on the
// global locale and is undefined for negative chars.
bool isWhiteSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool hasValueLine(std::uint32_t type) {
    switch (type) {
    case kParamTypeInteger:
    case kParamTypeDouble:
    case kParamTypeBoolean:
    case kParamTypeString:
    case kParamTypeChoice:
    case kParamTypeString2:
    case kParamTypeRGB:
    case kParamTypeDouble2D:
    case kParamTypeLayer:
        return true;
    default:
        return false;
    }
}

} // namespace

bool isWritten(const ParameterDef& def) {
    return (def.flags & kParamDisabled) == 0 && hasValueLine(def.type);
}

std::string formatDouble(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

std::string quote(const std::string& text) {
    std::string out;
    out.reserve(text.size() + 2);
    out.push_back('"');
    for (char c : text) {
        if (c == '\\' || c == '"') {
            out.push_back('\\');
        }
        out.push_back(c);
    }
    out.push_back('"');
    return out;
}

std::string unquote(const std::string& text) {
    std::string out;
    if (text.empty() || text[0] != '"') {
        return out;
    }
    for (std::size_t i = 1; i < text.size(); ++i) {
        char c = text[i];
        if (c == '"') {
            break;
        }
        if (c == '\\') {
            if (++i == text.size()) {
                break;
            }
            c = text[i];
        }
        out.push_back(c);
    }
    return out;
}

std::string formatValue(const ParameterDef& def) {
    const ParamValue& v = def.value;
    switch (def.type) {
    case kParamTypeInteger:
    case kParamTypeChoice:
    case kParamTypeLayer:
        return std::to_string(v.asInt());
    case kParamTypeDouble:
        return formatDouble(v.asDouble());
    case kParamTypeBoolean:
        return v.asBool() ? "true" : "false";
    case kParamTypeRGB:
        return formatDouble(v.numbers[0]) + ' ' + formatDouble(v.numbers[1]) + ' ' +
               formatDouble(v.numbers[2]) + ' ';
    case kParamTypeDouble2D:
        return formatDouble(v.numbers[0]) + ' ' + formatDouble(v.numbers[1]) + ' ';
    case kParamTypeString:
    case kParamTypeString2:
        return quote(v.text);
    default:
        return std::string();
    }
}

std::int32_t readInt(const std::string& text) {
    std::size_t i = 0;
    while (i < text.size() && isWhiteSpace(text[i])) {
        ++i;
    }
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    // Accumulated in 64 bits and held just past the 32-bit range, so that an
    // overlong number saturates instead of overflowing.
    constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    std::int64_t magnitude = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        magnitude = magnitude * 10 + (text[i] - '0');
        if (magnitude > kLimit) {
            magnitude = kLimit;
        }
    }
    const std::int64_t value = negative ? -magnitude : magnitude;
    if (value > std::numeric_limits<std::int32_t>::max()) {
        return std::numeric_limits<std::int32_t>::max();
    }
    return static_cast<std::int32_t>(value);
}

double readDouble(const std::string& text) {
    // strtod reads exactly what atof does, but without atof's undefined
    // behaviour for values out of range.
    return std::strtod(text.c_str(), nullptr);
}

std::vector<std::string> splitAtBlanks(const std::string& text) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start < text.size()) {
        if (text[start] == ' ') {
            ++start;
            continue;
        }
        std::size_t end = text.find(' ', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        pieces.push_back(text.substr(start, end - start));
        start = end;
    }
    return pieces;
}

void trimRight(std::string& text) {
    std::size_t end = text.size();
    while (end > 0 && isWhiteSpace(text[end - 1])) {
        --end;
    }
    text.erase(end);
}

void trimLeft(std::string& text) {
    std::size_t start = 0;
    while (start < text.size() && isWhiteSpace(text[start])) {
        ++start;
    }
    text.erase(0, start);
}

void applyValue(ParameterDef& def, const std::string& text) {
    ParamValue& v = def.value;
    switch (def.type) {
    case kParamTypeInteger:
    case kParamTypeChoice:
    case kParamTypeLayer:
        v.setInt(readInt(text));
        break;
    case kParamTypeDouble:
        v.setDouble(readDouble(text));
        break;
    case kParamTypeBoolean:
        v.setBool(text == "true");
        break;
    case kParamTypeRGB:
    case kParamTypeDouble2D: {
        // Components missing from the text keep what they hold.
        const std::size_t components = def.type == kParamTypeRGB ? 3 : 2;
        const std::vector<std::string> pieces = splitAtBlanks(text);
        for (std::size_t k = 0; k < components && k < pieces.size(); ++k) {
            v.numbers[k] = readDouble(pieces[k]);
        }
        break;
    }
    case kParamTypeString:
    case kParamTypeString2:
        v.text = unquote(text);
        break;
    default:
        break;
    }
}

bool FieldReader::read(std::string& out, char delimiter) {
    out.clear();
    if (file_ == nullptr || failed_ || atEnd_) {
        failed_ = true;
        return false;
    }
    const int wanted = static_cast<unsigned char>(delimiter);
    bool extracted = false;
    for (;;) {
        const int c = std::getc(file_);
        if (c == EOF) {
            // A read error ends the file just as its end does.
            atEnd_ = true;
            failed_ = !extracted;
            break;
        }
        extracted = true;
        if (c == wanted) {
            break;
        }
        if (out.size() == kMaxField) {
            // Nothing is read after a failure, so the character is not put back.
            failed_ = true;
            break;
        }
        out.push_back(static_cast<char>(c));
    }
    // The field is a C string to the rest of the reader: a NUL byte ends it.
    const std::size_t nul = out.find('\0');
    if (nul != std::string::npos) {
        out.erase(nul);
    }
    return !failed_;
}

} // namespace Text
} // namespace Param
} // namespace Host
} // namespace VX
