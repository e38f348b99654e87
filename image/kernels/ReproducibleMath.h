#pragma once

// exp, sin and cos computed from additions, multiplications and exact
// operations (floor, scaling by powers of two) only. The C libraries of
// different platforms round these functions differently in the last bit, and
// the blur's coefficients come from them: with these, a frame renders to the
// same bytes on Windows and Linux. Accurate to about one unit in the last
// place; sin and cos lose accuracy (never reproducibility) beyond |x| = 1e6.

namespace VX {
namespace Image {

double reproducibleExp(double x);
double reproducibleSin(double x);
double reproducibleCos(double x);

} // namespace Image
} // namespace VX
