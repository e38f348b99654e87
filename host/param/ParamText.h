#pragma once

// The pieces of the parameter text file: how each value is written, how a
// value text is read back, and the bounded, delimiter-ended reads the file is
// parsed with.

#include "host/param/ParameterDef.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace VX {
namespace Host {
namespace Param {
namespace Text {

// Longest name or value the reader takes; a longer one ends the reading.
constexpr std::size_t kMaxField = 255;

// Whether a record has a line in the file: disabled records and those
// without a value (groups, push buttons, unknown types) have none.
bool isWritten(const ParameterDef& def);

// The text after "name: " for a written record.
std::string formatValue(const ParameterDef& def);

// General notation, six significant digits, whatever the global locale.
std::string formatDouble(double value);

// Double quotes around the text, with a backslash before every backslash and
// every double quote inside.
std::string quote(const std::string& text);
// The inverse of quote() on a leading quoted text; anything that does not
// start with a double quote gives the empty string.
std::string unquote(const std::string& text);

// The leading decimal integer, as atoi reads it, saturated to 32 bits.
std::int32_t readInt(const std::string& text);
// As atof reads it.
double readDouble(const std::string& text);
// Pieces between blanks (only ' '); runs of blanks count as one.
std::vector<std::string> splitAtBlanks(const std::string& text);

void trimRight(std::string& text);
void trimLeft(std::string& text);

// Stores a value text read from the file into the record's value, without
// clamping. Records of types outside integer..layer are left alone.
void applyValue(ParameterDef& def, const std::string& text);

// Bounded reads up to a delimiter from a C file, with the outcomes of a
// stream's getline: a read stops at the delimiter (consumed), at the end of
// the file, or at kMaxField characters. It fails when the field is longer,
// when nothing is left to read, and for good after any failure or once the
// end of the file has been met. A null file fails the first read.
class FieldReader {
public:
    explicit FieldReader(std::FILE* file) : file_(file) {}

    // The field without its delimiter, cut at a NUL byte; false on failure.
    bool read(std::string& out, char delimiter);

private:
    std::FILE* file_;
    bool atEnd_ = false;
    bool failed_ = false;
};

} // namespace Text
} // namespace Param
} // namespace Host
} // namespace VX
