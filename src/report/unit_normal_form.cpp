#include "report/unit_normal_form.h"

#include <cstring>
#include <vector>

const char* const REPEAT_NAMES[7] = {"***  ERROR  ***", "mononucleotide", "dinucleotide", "trinucleotide",
                                     "tetranucleotide", "pentanucleotide", "hexanucleotide"};

bool UnitText::setToMinAlphaRepModCyclicPermOf(const UnitText& src)
{
  bool periodic;
  const uint32_t n = src.size();
  const uint32_t best = smallest_rotation(src.data(), n, periodic);
  clear();
  for (uint32_t i = 0; i < n; ++i)
    push_back(src[(best + i) % n]);
  return periodic;
}

namespace {

struct ComplementTable {
  char to[256];
  ComplementTable()
  {
    std::memset(to, '?', sizeof to);
    const char* pairs = "ATCGGCTARYYRKMMKBVVBDHHDNN";
    for (const char* p = pairs; *p; p += 2)
      to[static_cast<unsigned char>(p[0])] = p[1];
  }
};
const ComplementTable complement;

// Rows of distinct prime factors below n, built once by sieving.
struct PrimeFactorTable {
  static const uint32_t ROWS = 10001;
  static const uint32_t COLUMNS = 6;
  uint32_t row[ROWS][COLUMNS] = {};
  PrimeFactorTable()
  {
    for (uint32_t p = 2; p < ROWS; ++p) {
      if (row[p][0] != 0)
        continue; // p has a smaller factor, so it is not prime
      for (uint32_t multiple = 2 * p; multiple < ROWS; multiple += p) {
        uint32_t* r = row[multiple];
        while (*r)
          ++r;
        *r = p;
      }
    }
  }
};

} // namespace

const uint32_t* prime_factors_row(uint32_t n)
{
  static const PrimeFactorTable table;
  return table.row[n];
}

UnitText reverse_complement(const UnitText& s)
{
  UnitText r;
  r.reserve(s.size());
  for (uint32_t i = s.size(); i-- > 0;)
    r.push_back(complement.to[static_cast<unsigned char>(s[i])]);
  return r;
}

// The distinct prime factors below n, from the table up to 10000 and by
// trial division beyond it.
static std::vector<uint32_t> prime_factors_below(uint32_t n)
{
  std::vector<uint32_t> factors;
  if (n <= 10000) {
    for (const uint32_t* p = prime_factors_row(n); *p; ++p)
      factors.push_back(*p);
    return factors;
  }
  uint32_t rest = n;
  for (uint32_t p = 2; p * p <= rest; ++p)
    if (rest % p == 0) {
      factors.push_back(p);
      while (rest % p == 0)
        rest /= p;
    }
  if (rest > 1 && rest < n)
    factors.push_back(rest);
  return factors;
}

// Whether the unit is p equal pieces for some prime p dividing its length.
static bool repeats_shorter_unit_by_prime_factors(const char* unit, uint32_t length)
{
  for (uint32_t p : prime_factors_below(length)) {
    const uint32_t piece = length / p;
    // All p pieces are equal exactly when each equals the next one.
    if (std::memcmp(unit, unit + piece, length - piece) == 0)
      return true;
  }
  return false;
}

bool unit_normal_form(const Repeat& sat, UnitText& unit, int mode)
{
  const uint32_t length = sat.unit_length();
  UnitText as_is(sat.unit_begin, length);
  switch (mode) {
  case 0:
    unit = as_is;
    return !repeats_shorter_unit_by_prime_factors(sat.unit_begin, length);
  case 1:
    return !unit.setToMinAlphaRepModCyclicPermOf(as_is);
  default: {
    UnitText a, b;
    bool periodic = a.setToMinAlphaRepModCyclicPermOf(reverse_complement(as_is));
    b.setToMinAlphaRepModCyclicPermOf(as_is);
    unit = std::strcmp(a.c_str(), b.c_str()) > 0 ? b : a;
    return !periodic;
  }
  }
}
