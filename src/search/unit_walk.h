#ifndef SEARCH_UNIT_WALK_H
#define SEARCH_UNIT_WALK_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// A unit of at least 16 characters laid out for comparing 16 residues at
// once: at(k) is the unit character of position k mod L, for k in
// [-16, L + 16). Shorter units, which a block would wrap around more than
// once, are compared residue by residue (L is 0).
class UnitInBlocks {
 public:
  void lay_out(const char* ub, uint32_t length)
  {
    L = length >= 16 ? length : 0;
    if (L == 0)
      return;
    laid.resize(L + 32);
    std::memcpy(laid.data(), ub + L - 16, 16);
    std::memcpy(laid.data() + 16, ub, L);
    std::memcpy(laid.data() + 16 + L, ub, 16);
  }
  const char* at(int64_t k) const { return laid.data() + 16 + k; }
  uint32_t L = 0;

 private:
  std::vector<char> laid;
};

// exact_phase by blocks of 16 residues, where the unit [ub, ue) is laid out
// in blocks and that many residues lie before the bound; else, and from an
// N on, as exact_phase. (Measured with units up to 200 on a 200-kb array of
// a diverged 64-mer, whose accepted seeds' extensions walk the rest of the
// array: 0.91-0.95x as long.)
template <int Dir>
__attribute__((always_inline)) inline bool exact_phase_in_blocks(const char*& c, const char*& u, const char* ub,
                                                                 const char* ue, const UnitInBlocks& blocks,
                                                                 const char* bound, int32_t& score, uint32_t& Ns,
                                                                 uint32_t allowed_Ns, bool pass_Ns)
{
#if defined(__SSE2__)
  const int64_t L = blocks.L;
  if (L == 0)
    return exact_phase<Dir>(c, u, ub, ue, bound, score, Ns, allowed_Ns, pass_Ns);
  int64_t j = u - ub;
  for (;;) {
    if ((bound - c) * Dir < 16) {
      u = ub + j;
      return exact_phase<Dir>(c, u, ub, ue, bound, score, Ns, allowed_Ns, pass_Ns);
    }
    // The residues c .. c + 15 forward, c - 15 .. c backward, against the
    // unit characters in phase with them.
    const __m128i r = _mm_loadu_si128(reinterpret_cast<const __m128i*>(Dir > 0 ? c : c - 15));
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(blocks.at(Dir > 0 ? j : j - 15)));
    const unsigned differ = ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(r, v))) & 0xffff;
    // The residues that match before the first that differs, in walk order.
    const int m = differ == 0 ? 16 : Dir > 0 ? __builtin_ctz(differ) : __builtin_clz(differ) - 16;
    c += m * Dir;
    score += m;
    j += m * Dir;
    if (j >= L)
      j -= L;
    else if (j < 0)
      j += L;
    if (differ == 0)
      continue;
    if (*c != 'N' || !pass_Ns) {
      u = ub + j;
      return true;
    }
    const uint32_t run = N_run<Dir>(c, bound);
    if (run > allowed_Ns) {
      u = ub + j;
      return false;
    }
    Ns += run;
    c += Dir * static_cast<int64_t>(run);
    j = (j + Dir * static_cast<int64_t>(run % L) + L) % L;
  }
#else
  (void)blocks;
  return exact_phase<Dir>(c, u, ub, ue, bound, score, Ns, allowed_Ns, pass_Ns);
#endif
}

#endif
