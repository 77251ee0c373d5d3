#ifndef SEARCH_UNIT_WALK_H
#define SEARCH_UNIT_WALK_H

#include <cstddef>
#include <cstdint>
#include <cstring>

// Walking residues against the endless repetition of a unit, in either
// direction: a cursor points at the next residue to compare (forward: the
// end of the repeat; backward: the residue before its begin) and moves by
// Dir; the unit position steps cyclically through [ub, ue).

template <int Dir>
inline const char* step_unit(const char* u, const char* ub, const char* ue)
{
  if (Dir > 0)
    return u + 1 == ue ? ub : u + 1;
  return (u == ub ? ue : u) - 1;
}

// Where an edit at residue c goes in a missense list: a deletion is listed
// at the residue that follows the missing unit character in sequence order,
// so one made going backward at c + 1.
template <int Dir>
inline const char* listed_at(const char* c, char kind)
{
  return Dir < 0 && kind == 'D' ? c + 1 : c;
}

// The first N of s[0, n) at or after from, or n.
inline size_t first_N_from(const char* s, size_t n, size_t from)
{
  const void* p = std::memchr(s + from, 'N', n - from);
  return p ? static_cast<size_t>(static_cast<const char*>(p) - s) : n;
}

// Length of the run of N's starting at the cursor c, not passing bound.
template <int Dir>
inline uint32_t N_run(const char* c, const char* bound)
{
  const char* r = c;
  while (r != bound && *r == 'N')
    r += Dir;
  return static_cast<uint32_t>((r - c) * Dir);
}

// The exact phase: consumes residues equal to the unit in phase (+1 each)
// and, when pass_Ns, runs of at most allowed_Ns N's (0 each, counted in Ns).
// Returns true when it stopped at a differing residue, false at the bound or
// at an N run that is too long.
template <int Dir>
__attribute__((always_inline)) inline bool exact_phase(const char*& c, const char*& u, const char* ub, const char* ue, const char* bound,
                        int32_t& score, uint32_t& Ns, uint32_t allowed_Ns, bool pass_Ns)
{
  for (;;) {
    if (c == bound)
      return false;
    if (*c == *u) {
      ++score;
      c += Dir;
      u = step_unit<Dir>(u, ub, ue);
    } else if (*c == 'N' && pass_Ns) {
      const uint32_t run = N_run<Dir>(c, bound);
      if (run > allowed_Ns)
        return false;
      Ns += run;
      for (uint32_t i = 0; i < run; ++i) {
        c += Dir;
        u = step_unit<Dir>(u, ub, ue);
      }
    } else {
      return true;
    }
  }
}

#endif
