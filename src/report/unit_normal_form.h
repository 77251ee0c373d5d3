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

// The unit text of a repeat in the form of the report unit mode: 0 as it is,
// 1 its smallest rotation, 2 the smaller of that and the smallest rotation of
// its reverse complement. Returns false when the unit is a repetition of a
// shorter unit; such a repeat is not reported.
bool unit_normal_form(const Repeat& sat, UnitText& unit, int mode);

// Where the smallest rotation of unit[0, n) starts, the first of equal ones;
// repeats_itself tells whether the unit equals one of its own non-trivial
// rotations, that is repeats a shorter unit.
inline uint32_t smallest_rotation(const char* unit, uint32_t n, bool& repeats_itself)
{
  uint32_t best = 0;
  repeats_itself = false;
  for (uint32_t r = 1; r < n; ++r) {
    // Rotation r against the best so far, character by character.
    uint32_t i = 0, a = r, b = best;
    for (; i < n && unit[a] == unit[b]; ++i) {
      a = a + 1 == n ? 0 : a + 1;
      b = b + 1 == n ? 0 : b + 1;
    }
    if (i == n)
      repeats_itself = true;
    else if (static_cast<unsigned char>(unit[a]) < static_cast<unsigned char>(unit[b]))
      best = r;
  }
  return best;
}

// Distinct prime factors p < n of n, ascending, zero-terminated; rows 0 … 10000.
const uint32_t* prime_factors_row(uint32_t n);

extern const char* const REPEAT_NAMES[7];

#endif
