#ifndef SEARCH_SPEEDUPS_PERIOD_RUNS_H
#define SEARCH_SPEEDUPS_PERIOD_RUNS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

// An exact repeat of unit length k is a stretch in which every residue equals
// the one k positions earlier. Its score is the number of such residues, so a
// repeat can only reach a minimum score S where at least S consecutive
// positions x agree with x - k. N's are counted as agreeing, which can only
// lengthen the runs found: an exact extension passes an N run with score 0,
// and the residue after it is compared with the unit, not with the N.

// Bit i is set when position base + i agrees with base + i - k; positions
// before k and from n on are never set.
inline uint64_t period_mask(const char* s, size_t n, size_t base, size_t k)
{
  uint64_t m = 0;
#ifdef __SSE2__
  if (base >= k && base + 64 <= n) {
    const __m128i N = _mm_set1_epi8('N');
    for (int j = 0; j < 4; ++j) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + base + 16 * j));
      const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + base + 16 * j - k));
      const __m128i agree =
          _mm_or_si128(_mm_cmpeq_epi8(a, b), _mm_or_si128(_mm_cmpeq_epi8(a, N), _mm_cmpeq_epi8(b, N)));
      m |= static_cast<uint64_t>(static_cast<uint32_t>(_mm_movemask_epi8(agree))) << (16 * j);
    }
    return m;
  }
#endif
  for (size_t i = 0; i < 64 && base + i < n; ++i) {
    const size_t x = base + i;
    if (x >= k && (s[x] == s[x - k] || s[x] == 'N' || s[x - k] == 'N'))
      m |= uint64_t(1) << i;
  }
  return m;
}

// The masks of blocks first ... first + count - 1, block b holding
// positions 64 b to 64 b + 63, as period_mask gives them; where the
// processor has 32-byte vector compares, with those.
void period_masks(const char* s, size_t n, size_t k, size_t first, size_t count, uint64_t* masks);

// Calls found(x0, x1) for every maximal run [x0, x1) of agreeing positions
// with at least min_run (>= 1) positions, in increasing order, and block(base)
// before each block of 64 positions. The scan reads 64 positions per step and
// looks at single runs only where a block may hold a long one.
template <typename Found, typename Block>
void for_each_period_run(const char* s, size_t n, size_t k, size_t min_run, Found found, Block block)
{
  size_t run = 0; // agreeing positions that end at the current block start
  const size_t BATCH = 64;
  uint64_t masks[BATCH];
  for (size_t base = 0; base < n; base += 64) {
    const size_t b = base / 64;
    if (b % BATCH == 0)
      period_masks(s, n, k, b, std::min(BATCH, (n + 63) / 64 - b), masks);
    block(base);
    uint64_t m = masks[b % BATCH];
    if (m == ~uint64_t(0)) {
      run += 64;
      continue;
    }
    const unsigned lead = static_cast<unsigned>(__builtin_ctzll(~m));
    run += lead;
    if (run >= min_run)
      found(base + lead - run, base + lead);
    m &= ~uint64_t(0) << lead; // bit lead is 0 now
    const unsigned trail = static_cast<unsigned>(__builtin_clzll(~m));
    run = trail;
    uint64_t inner = trail ? m & (~uint64_t(0) >> trail) : m;
    if (inner == 0 || min_run > 64)
      continue;
    // Bit i of t survives only where bits i ... i + min_run - 1 are all
    // set: where bits i ... i + width - 1 are, the width doubling each step.
    uint64_t t = inner;
    for (size_t width = 1; width < min_run && t;) {
      const size_t shift = std::min(width, min_run - width);
      t &= t >> shift;
      width += shift;
    }
    while (t) {
      const unsigned i0 = static_cast<unsigned>(__builtin_ctzll(t));
      // inner has a zero above every run: the run's last bit is below 63.
      const unsigned i1 = i0 + static_cast<unsigned>(__builtin_ctzll(~(inner >> i0)));
      // A run found through t starts at its first bit, since t marks starts.
      found(base + i0, base + i1);
      t &= i1 >= 64 ? 0 : ~uint64_t(0) << i1;
    }
  }
  if (run >= min_run && run > 0)
    found(n - run, n);
}

#endif
