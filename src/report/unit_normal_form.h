#ifndef REPORT_UNIT_NORMAL_FORM_H
#define REPORT_UNIT_NORMAL_FORM_H

#include "report/repeat.h"
#include "sequence/faststring.h"

#include <cstdint>

// DNA text. The normal form of a repeat unit is its alphabetically smallest
// rotation, so that CAG, AGC and GCA are reported alike.
class UnitText : public faststring {
 public:
  UnitText() = default;
  UnitText(const char* s, uint32_t n) : faststring(s, n) {}

  // Sets this string to the smallest rotation of src; returns whether src
  // equals one of its own non-trivial rotations, i.e. repeats a shorter unit.
  bool setToMinAlphaRepModCyclicPermOf(const UnitText& src);
};

UnitText reverse_complement(const UnitText& s);

// The unit text of a repeat in the form chosen by global_report_unit_mode.
// Returns false when the unit is a repetition of a shorter unit; such a
// repeat is not reported.
bool unit_normal_form(const Repeat& sat, UnitText& unit);

// Distinct prime factors p < n of n, ascending, zero-terminated; rows 0 … 10000.
const uint32_t* prime_factors_row(uint32_t n);

extern const char* const REPEAT_NAMES[7];

#endif
