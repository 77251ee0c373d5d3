#include "search/speedups/self_alignment_bound.h"

#include "parallel/thread_pool.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#include <immintrin.h>
#endif

namespace {

// Cells stay within [0, C] with C <= MAX_CAP; any cost above the cap acts
// as one just above it, so every sum stays within 16 bits.
constexpr int32_t MAX_CAP = 16000;

// A residue as a set of bases: two residues match where their sets meet,
// so an N or another wildcard (all four) matches every base. Beyond the
// record the set is empty: a step there mismatches, and as every cell past
// the record's end is 0, such a step never raises a cell.
constexpr int16_t BEYOND = 0;
inline int16_t code_of(char c)
{
  switch (c) {
  case 'A': return 1;
  case 'C': return 2;
  case 'G': return 4;
  case 'T': return 8;
  default: return 15;
  }
}

// The cells c[h] of one antidiagonal from those of the two above it: a on
// the same lag, b and b2 on the lags one above and one below; jc and ic
// are the codes of the two residues that each cell pairs.
__attribute__((always_inline)) inline void antidiagonal(
    const int16_t* a, const int16_t* b, const int16_t* b2, const int16_t* jc, const int16_t* ic, int16_t* c,
    int64_t width, int16_t mismatch, int16_t gap, int16_t cap)
{
  for (int64_t h = 0; h < width; ++h) {
    const int16_t s = (jc[h] & ic[h]) ? int16_t(2) : mismatch;
    const int16_t diagonal = static_cast<int16_t>(a[h] + s);
    const int16_t gapped = static_cast<int16_t>(std::max(b[h], b2[h]) - gap);
    c[h] = std::min(cap, std::max<int16_t>(0, std::max(diagonal, gapped)));
  }
}

// Whether any cell h of a forward antidiagonal, with the backward cell of
// its seed, reaches what its unit length needs: c[h] + back[h] >= need[h].
// Sums stay within 16 bits: cells are at most MAX_CAP.
__attribute__((always_inline)) inline bool any_reaches(const int16_t* c, const int16_t* back, const int16_t* need,
                                                       int64_t width)
{
  int16_t any = 0;
  for (int64_t h = 0; h < width; ++h)
    any |= static_cast<int16_t>(c[h] + back[h] >= need[h]);
  return any != 0;
}

// Blocks of 8 cells, for short rows: the highest of a row of 8 or more
// cells is read in blocks, the last one ending at its end and overlapping
// the one before, which takes no more than the rest of a row would.
typedef int16_t Block __attribute__((vector_size(16)));
constexpr int64_t BLOCK = 8;

// The highest of the cells c[0, width).
__attribute__((always_inline)) inline int32_t highest(const int16_t* c, int64_t width)
{
  int16_t top = 0;
  if (width < BLOCK) {
    for (int64_t h = 0; h < width; ++h)
      top = std::max(top, c[h]);
    return top;
  }
  Block most;
  std::memcpy(&most, c + width - BLOCK, sizeof most);
  for (int64_t h = 0; h + BLOCK < width; h += BLOCK) {
    Block more;
    std::memcpy(&more, c + h, sizeof more);
    most = most > more ? most : more;
  }
  for (int64_t h = 0; h < BLOCK; ++h)
    top = std::max(top, most[h]);
  return top;
}

// Copies whole blocks of cells, width of them.
__attribute__((always_inline)) inline void copy_blocks(const int16_t* from, int16_t* to, int64_t width)
{
  for (int64_t h = 0; h < width; h += BLOCK)
    std::memcpy(to + h, from + h, BLOCK * sizeof(int16_t));
}

// The same for wide antidiagonals (long units), made for the widest vector
// lanes the processor has, chosen when the program starts; narrow ones are
// quicker inlined, or kept in lanes (below). (The choice runs before
// ThreadSanitizer is ready, so its builds keep one plain version.)
constexpr int64_t WIDE = 64;
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
#define WIDEST_LANES __attribute__((target_clones("arch=x86-64-v4", "avx2", "default")))
#else
#define WIDEST_LANES
#endif
WIDEST_LANES void wide_antidiagonal(const int16_t* a, const int16_t* b, const int16_t* b2, const int16_t* jc,
                                    const int16_t* ic, int16_t* c, int64_t width, int16_t mismatch, int16_t gap,
                                    int16_t cap)
{
  antidiagonal(a, b, b2, jc, ic, c, width, mismatch, gap, cap);
}
WIDEST_LANES bool wide_any_reaches(const int16_t* c, const int16_t* back, const int16_t* need, int64_t width)
{
  return any_reaches(c, back, need, width);
}

// Narrow bands keep their antidiagonals in a few vectors of 32 lanes of 16
// bits, where the processor has them.
constexpr int64_t LANES = 32;
// The most vectors of lanes an antidiagonal is kept in, or of half vectors
// for bands of up to 128 lanes (measured: up to 8 half vectors are a tenth
// quicker than whole ones with the default units, up to 32 slower with
// units up to 500); where the processor has only half vectors, up to 32
// of them (measured: with units up to 500, about twice as quick as tables
// through memory). Sanitized builds, whose instrumented kernels take
// minutes to compile, keep only those of up to 8 half vectors there: the
// wider ones read and write within the same spare room as 16 whole
// vectors, and the release build's tests compare their cells.
[[maybe_unused]] constexpr int MAX_VECTORS = 16, MAX_HALVES = 8;
// Their loop over the vectors of an antidiagonal is not unrolled either.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
[[maybe_unused]] constexpr int MAX_ONLY_HALVES = MAX_HALVES;
#define LANES_UNROLL _Pragma("GCC unroll 1")
#else
[[maybe_unused]] constexpr int MAX_ONLY_HALVES = 32;
#define LANES_UNROLL _Pragma("GCC unroll 16")
#endif
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define TABLE_IN_LANES 1
typedef int16_t Lanes __attribute__((vector_size(2 * LANES)));
// Narrow bands take half vectors, which cost half as much where the
// processor splits its widest ones in two, and are the widest that
// processors without 512-bit vectors have.
typedef int16_t HalfLanes __attribute__((vector_size(LANES)));

bool lanes_fit() { return __builtin_cpu_supports("x86-64-v4"); }
bool half_lanes_fit() { return __builtin_cpu_supports("x86-64-v3"); }

// The antidiagonals of a table whose cells fit K vectors V of lanes: the
// one above is kept in registers, so that a narrow antidiagonal never waits
// for it to come back from its stores, and the one two above, the diagonal
// step's, too where the band is narrow, or else is read back from where it
// was written. Lane k of antidiagonal t holds cell h_lo[p] + k (p the
// parity of t); the two cells above it that a gap comes from are lanes k
// and k + 1 of antidiagonal t + 1, or k - 1 and k, as the parity and lo's
// parity give. jc and ic are the codes as run_table reads them, with K
// vectors of codes to spare beyond the band; each antidiagonal is written
// to out[p] (index h + 1, zero outside the band) and handed to row(t,
// out[p] + 1, top), top the highest of its cells window[p] .. window[p] +
// window_width - 1.
struct LanesShape {
  const int16_t* js;
  const int16_t* is;
  int64_t j_lo, i_hi, top, bottom, h_lo[2], h_hi[2], window[2], window_width;
  bool from_end;
};

// (g++ 12 takes the undefined lanes inside its own intrinsics for
// uninitialized ones in sanitized builds.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
// Helpers of half vectors that both instruction sets share.
namespace half_lanes {
// The highest of 16 lanes of cells (never negative): by halves down to 8
// lanes, then as the lowest of their complements.
__attribute__((target("arch=x86-64-v3"), always_inline)) inline int32_t highest_of_8(__m128i eighths)
{
  return 0xffff - _mm_extract_epi16(_mm_minpos_epu16(_mm_xor_si128(eighths, _mm_set1_epi16(-1))), 0);
}
__attribute__((target("arch=x86-64-v3"), always_inline)) inline int32_t highest_lane(HalfLanes x)
{
  __m256i v;
  std::memcpy(&v, &x, sizeof v);
  return highest_of_8(_mm_max_epu16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
}
// Cells never fall below 0: a step that costs more than a cell holds
// leaves 0 (without sign, the subtraction stops there).
__attribute__((target("arch=x86-64-v3"), always_inline)) inline HalfLanes less(HalfLanes x, HalfLanes cost)
{
  return (HalfLanes)_mm256_subs_epu16((__m256i)x, (__m256i)cost);
}
} // namespace half_lanes

// With 512-bit vectors: the tables in half or whole vectors, and mask
// registers for the diagonal step.
namespace in_512_bits {
using half_lanes::highest_lane;
using half_lanes::less;
__attribute__((target("arch=x86-64-v4"), always_inline)) inline int32_t highest_lane(Lanes x)
{
  __m512i v;
  std::memcpy(&v, &x, sizeof v);
  const __m256i quarters = _mm256_max_epu16(_mm512_castsi512_si256(v), _mm512_extracti64x4_epi64(v, 1));
  HalfLanes half;
  std::memcpy(&half, &quarters, sizeof half);
  return highest_lane(half);
}
__attribute__((target("arch=x86-64-v4"), always_inline)) inline Lanes less(Lanes x, Lanes cost)
{
  return (Lanes)_mm512_subs_epu16((__m512i)x, (__m512i)cost);
}
// The diagonal step from the cells two above: gain two where the residues
// J and I match (their codes meet), else lose the mismatch's cost.
__attribute__((target("arch=x86-64-v4"), always_inline)) inline HalfLanes diagonal_step(
    HalfLanes from, HalfLanes J, HalfLanes I, HalfLanes costs, HalfLanes two)
{
  return (HalfLanes)_mm256_mask_adds_epu16(_mm256_subs_epu16((__m256i)from, (__m256i)costs),
                                           _mm256_test_epi16_mask((__m256i)J, (__m256i)I), (__m256i)from,
                                           (__m256i)two);
}
__attribute__((target("arch=x86-64-v4"), always_inline)) inline Lanes diagonal_step(Lanes from, Lanes J, Lanes I,
                                                                                   Lanes costs, Lanes two)
{
  return (Lanes)_mm512_mask_adds_epu16(_mm512_subs_epu16((__m512i)from, (__m512i)costs),
                                       _mm512_test_epi16_mask((__m512i)J, (__m512i)I), (__m512i)from, (__m512i)two);
}
#define LANES_TARGET "arch=x86-64-v4"
#include "search/speedups/antidiagonals_in_lanes.h"
#undef LANES_TARGET
} // namespace in_512_bits

// With 256-bit vectors only: the tables in half vectors, the diagonal step
// blended by a compare. It adds the match's gain or the mismatch's loss
// with sign, and may fall below 0: the gap's step, never below 0, then
// lifts the cell to 0 as the step without sign would (one operation less).
namespace in_256_bits {
using half_lanes::highest_lane;
using half_lanes::less;
__attribute__((target("arch=x86-64-v3"), always_inline)) inline HalfLanes diagonal_step(
    HalfLanes from, HalfLanes J, HalfLanes I, HalfLanes costs, HalfLanes two)
{
  const __m256i differ = _mm256_cmpeq_epi16(_mm256_and_si256((__m256i)J, (__m256i)I), _mm256_setzero_si256());
  const __m256i lost = _mm256_sub_epi16(_mm256_setzero_si256(), (__m256i)costs);
  return (HalfLanes)_mm256_add_epi16((__m256i)from, _mm256_blendv_epi8((__m256i)two, lost, differ));
}
#define LANES_TARGET "arch=x86-64-v3"
#include "search/speedups/antidiagonals_in_lanes.h"
#undef LANES_TARGET
} // namespace in_256_bits
#pragma GCC diagnostic pop
#endif

} // namespace

bool SelfAlignmentBound::in_512_bit_lanes()
{
#ifdef TABLE_IN_LANES
  return lanes_fit();
#else
  return false;
#endif
}

// The lags [lo, hi] of the tables, and their caps going forward and
// backward.
struct SelfAlignmentBound::Band {
  uint32_t lo = UINT32_MAX, hi = 0;
  int32_t forward_cap = 0, backward_cap = 0;
  int32_t cap(int dir) const { return dir > 0 ? forward_cap : backward_cap; }
};

SelfAlignmentBound::SelfAlignmentBound(const char* first, const char* last, const Scoring& sc,
                                       const int32_t* min_score, uint32_t u1, uint32_t u2, ThreadPool* workers,
                                       size_t stretch, size_t kept_cells, int most_lanes)
    : first(first), n(static_cast<size_t>(last - first)), kept_cells(kept_cells),
      most_lanes(most_lanes), u1(u1), u2(u2),
      mismatch_cost(std::min(-sc.mismatch - 1, MAX_CAP + 8)), gap_cost(std::min(-sc.indel - 1, MAX_CAP + 8)),
      min_score(min_score), P(sc.prefer_longer), g(-sc.indel), bounded(u2 - u1 + 1), reaching(u2 - u1 + 1)
{
  const Band band = band_of(u1, u2);
  if (band.hi == 0)
    return;
  for (uint32_t u = u1; u <= u2; ++u)
    bounded[u - u1] = cap_of(u, -1) > 0;
  // The seeds are bounded by stretches, each from tables that start twice
  // their cap beyond it with cells at the cap; workers take stretches of
  // their own, whose ranges are joined in order. The cells take about that
  // long to fall from the cap to what the residues give, so a stretch is
  // many times as long where the caps are high: its tables' margins then
  // take a few hundredths of their time. Workers get four stretches each
  // at least, so that they finish together.
  size_t each = std::clamp<size_t>(STRETCH_PER_CAP * static_cast<size_t>(band.backward_cap), 1 << 14, 1 << 18);
  if (workers && workers->size() > 1)
    each = std::max<size_t>(1 << 14, std::min(each, n / (4 * workers->size()) + 1));
  if (stretch)
    each = stretch;
  std::vector<size_t> starts;
  for (size_t b0 = 0; b0 + u1 < n; b0 += each)
    starts.push_back(b0);
  const size_t blocks = static_cast<size_t>((2 * static_cast<int64_t>(n) + u2) / TOPS_BLOCK + 1);
  tops.forward.assign(blocks, 0);
  tops.backward.assign(blocks, 0);
  std::vector<WorkerRoom> room(workers ? workers->size() : 1);
  auto one = [&](size_t i, unsigned int thread) {
    return bound_stretch(starts[i], std::min(starts[i] + each, n - u1), band, room[thread]);
  };
  if (!workers || workers->size() < 2 || starts.size() < 2) {
    for (size_t i = 0; i < starts.size(); ++i)
      join(one(i, 0));
    return;
  }
  std::vector<Found> found(starts.size());
  TaskGroup tasks(*workers);
  for (size_t i = 0; i < starts.size(); ++i)
    tasks.submit([&, i](unsigned int thread) { found[i] = one(i, thread); });
  tasks.wait();
  for (const Found& stretch_found : found)
    join(stretch_found);
}

GainBounds SelfAlignmentBound::most_gained(size_t b, size_t k, uint32_t u) const
{
  GainBounds most;
  if (!bounds(u) || k == 0)
    return most;
  const size_t from = (2 * b + u) / TOPS_BLOCK, to = (2 * (b + k - 1) + u) / TOPS_BLOCK;
  uint8_t forward = 0, backward = 0;
  for (size_t i = from; i <= to && i < tops.forward.size(); ++i) {
    forward = std::max(forward, tops.forward[i]);
    backward = std::max(backward, tops.backward[i]);
  }
  // A cell is at least twice the gain, as far as the threshold (the steps
  // are even).
  static_assert(TOP_STEP % 2 == 0);
  if (forward != UNKNOWN_TOP)
    most.forward = forward * TOP_STEP / 2;
  if (backward != UNKNOWN_TOP)
    most.backward = backward * TOP_STEP / 2;
  return most;
}

void SelfAlignmentBound::join(const Found& found)
{
  // Stretches share the antidiagonals of the blocks at their ends.
  for (size_t i = 0; i < found.tops.forward.size(); ++i) {
    uint8_t& forward = tops.forward[found.tops.first + i];
    uint8_t& backward = tops.backward[found.tops.first + i];
    forward = std::max(forward, found.tops.forward[i]);
    backward = std::max(backward, found.tops.backward[i]);
  }
  const Ranges& ranges = found.ranges;
  for (uint32_t u = u1; u <= u2; ++u) {
    std::vector<uint32_t>& all = reaching[u - u1];
    const std::vector<uint32_t>& more = ranges[u - u1];
    if (more.empty())
      continue;
    size_t k = 0;
    if (!all.empty() && all.back() == more[0]) {
      all.back() = more[1];
      k = 2;
    }
    all.insert(all.end(), more.begin() + static_cast<ptrdiff_t>(k), more.end());
  }
}

int32_t SelfAlignmentBound::cap_of(uint32_t u, int dir) const
{
  // Forward the self-alignment dips at most 2(u + P) + 2 below its start,
  // backward 2(S + u + P) + 2; the target is 2S. The backward cap is the
  // larger one: it decides whether the bound holds.
  const int64_t S = min_score[u];
  const int64_t cap = 2 * S + 2 * ((dir > 0 ? 0 : S) + u + P) + 4;
  const int64_t backward_cap = 2 * S + 2 * (S + u + P) + 4;
  return S < 1 || backward_cap > MAX_CAP || u + 1 >= n ? 0 : static_cast<int32_t>(cap);
}

SelfAlignmentBound::Band SelfAlignmentBound::band_of(uint32_t v1, uint32_t v2) const
{
  Band band;
  for (uint32_t u = v1; u <= v2; ++u) {
    if (cap_of(u, -1) == 0)
      continue;
    const int64_t S = min_score[u];
    const int64_t drift = (2 * u + S + P - 1) / g + 2;
    band.lo = static_cast<uint32_t>(std::min<int64_t>(band.lo, std::max<int64_t>(1, u - drift)));
    band.hi = static_cast<uint32_t>(std::max<int64_t>(band.hi, u + drift));
    band.forward_cap = std::max(band.forward_cap, cap_of(u, 1));
    band.backward_cap = std::max(band.backward_cap, cap_of(u, -1));
  }
  return band;
}

template <typename Row>
void SelfAlignmentBound::run_table(int dir, size_t i0, size_t i1, uint32_t lowest, const Band& band, size_t margin,
                                   Row row, int most_lanes, Codes* codes) const
{
  // The residues in the walk's order: x(k) is first[k] forward and
  // first[n - 1 - k] backward. Cell (i, j) is the best prefix score of the
  // self-alignments of x(i..) with x(j..), lag L = j - i, each step to
  // (i + 1, j + 1) scoring x(i) against x(j), to (i, j + 1) or (i + 1, j)
  // a gap. Cells are taken by antidiagonals t = i + j, downward; those of
  // one antidiagonal have lags of t's parity p, L = 2h + p, and depend on
  // those of the two antidiagonals above only.
  const int64_t lo = band.lo, hi = band.hi;
  const int16_t cap = static_cast<int16_t>(band.cap(dir));
  int64_t top = 2 * static_cast<int64_t>(i1 + margin) + hi;
  const bool from_end = top >= 2 * static_cast<int64_t>(n);
  if (from_end)
    top = 2 * static_cast<int64_t>(n); // cells there pair x(j) beyond the record: 0
  const int64_t bottom = 2 * static_cast<int64_t>(i0) + lowest;
  // Codes of x(j) for j in [j_lo, j_hi), and of x(i) reversed, i in
  // (i_hi - size, i_hi].
  const int64_t j_lo = (bottom + lo) / 2 - 1, j_hi = (top + 2 + hi) / 2 + 2;
  const int64_t i_hi = (top + 2 - lo) / 2 + 1, i_lo = (bottom - hi) / 2 - 2;
  auto x = [&](int64_t k) -> int16_t {
    if (k < 0 || k >= static_cast<int64_t>(n))
      return BEYOND;
    return code_of(dir > 0 ? first[k] : first[n - 1 - static_cast<size_t>(k)]);
  };
  // (With the codes of MAX_VECTORS vectors of lanes to spare, beyond the
  // record: see below.)
  Codes own;
  std::vector<int16_t>& js = (codes ? *codes : own).js;
  std::vector<int16_t>& is = (codes ? *codes : own).is;
  js.resize(static_cast<size_t>(j_hi - j_lo + MAX_VECTORS * LANES));
  is.resize(static_cast<size_t>(i_hi - i_lo + 1 + MAX_VECTORS * LANES));
  for (int64_t j = j_lo; j < j_hi; ++j)
    js[static_cast<size_t>(j - j_lo)] = x(j);
  for (int64_t i = i_hi; i >= i_lo; --i)
    is[static_cast<size_t>(i_hi - i)] = x(i);
  std::fill(js.begin() + (j_hi - j_lo), js.end(), BEYOND);
  std::fill(is.begin() + (i_hi - i_lo + 1), is.end(), BEYOND);

  // Six antidiagonals, by t mod 6, of cells h = -1 .. H (index h + 1):
  // each keeps one parity, so that its cells outside the band stay 0,
  // which no gap from them can beat.
  const int64_t H = hi / 2 + 2;
  std::vector<int16_t> rows[6];
  int64_t h_lo[2], h_hi[2], window[2];
  for (int p = 0; p < 2; ++p) {
    h_lo[p] = (lo - p + 1) / 2;
    h_hi[p] = (hi - p) / 2;
    window[p] = (lowest - p + 1) / 2;
  }
  const int64_t window_width = (u2 - lowest) / 2 + 1;
#ifdef TABLE_IN_LANES
  // Bands of up to MAX_VECTORS vectors of lanes keep their antidiagonals in
  // lanes; of up to MAX_HALVES half vectors where the processor has no
  // 512-bit ones.
  const int64_t lanes = std::max(h_hi[0] - h_lo[0], h_hi[1] - h_lo[1]) + 1;
  const bool wide_lanes = most_lanes >= LANES && lanes_fit();
  if (wide_lanes ? lanes <= MAX_VECTORS * LANES
                 : most_lanes >= LANES / 2 && half_lanes_fit() && lanes <= MAX_ONLY_HALVES * LANES / 2) {
    // The cells of the band start on a cache line: the vectors written and
    // read back two antidiagonals later then never straddle two (measured:
    // the tables of units 192-500 take 0.8x as long).
    int16_t* out[2];
    for (int p = 0; p < 2; ++p) {
      rows[p].assign(static_cast<size_t>(H + 2 + MAX_VECTORS * LANES + LANES), 0);
      const uintptr_t at = reinterpret_cast<uintptr_t>(rows[p].data() + 1 + h_lo[p]);
      out[p] = rows[p].data() + (64 - at % 64) % 64 / 2;
    }
    const LanesShape shape{js.data(), is.data(), j_lo, i_hi, top, bottom, {h_lo[0], h_lo[1]}, {h_hi[0], h_hi[1]},
                           {window[0], window[1]}, window_width, from_end};
    const int16_t mismatch = static_cast<int16_t>(-mismatch_cost), gap = static_cast<int16_t>(gap_cost);
    const int halves = static_cast<int>((lanes + LANES / 2 - 1) / (LANES / 2));
    if (!wide_lanes)
      in_256_bits::antidiagonals_in_vectors<HalfLanes, 1, MAX_ONLY_HALVES>(halves, shape, out, mismatch, gap, cap, row);
    else if (lanes <= MAX_HALVES * LANES / 2)
      in_512_bits::antidiagonals_in_vectors<HalfLanes, 1, MAX_HALVES>(halves, shape, out, mismatch, gap, cap, row);
    else
      in_512_bits::antidiagonals_in_vectors<Lanes, 1, MAX_VECTORS>(static_cast<int>((lanes + LANES - 1) / LANES),
                                                                   shape, out, mismatch, gap, cap, row);
    return;
  }
#else
  (void)most_lanes; // (no lanes to keep the antidiagonals in)
#endif
  for (std::vector<int16_t>& row : rows)
    row.assign(static_cast<size_t>(H + 2 + BLOCK), 0);
  for (int64_t d = 1; d <= 2 && !from_end; ++d) {
    const int64_t t = top + d;
    std::fill(rows[t % 6].begin() + 1 + h_lo[t & 1], rows[t % 6].begin() + 2 + h_hi[t & 1], cap);
  }
  const int16_t mismatch = static_cast<int16_t>(-mismatch_cost), gap = static_cast<int16_t>(gap_cost);
  // The rows of antidiagonals t + 2, t + 1 and t, turning as t goes down.
  int16_t* turn[6];
  for (int64_t d = 0; d < 6; ++d)
    turn[d] = rows[(top + 8 - d) % 6].data() + 1;
  for (int64_t t = top, d = 0; t >= bottom; --t, d = d == 5 ? 0 : d + 1) {
    const int p = static_cast<int>(t & 1);
    const int64_t q = (t - p) / 2;
    const int16_t* a = turn[d];
    const int16_t* b = turn[d == 5 ? 0 : d + 1] + (p ? 1 : 0);
    const int16_t* b2 = turn[d == 5 ? 0 : d + 1] - (p ? 0 : 1);
    int16_t* c = turn[d >= 4 ? d - 4 : d + 2];
    const int16_t* jc = js.data() + (q + p - j_lo); // jc[h]: x(q + h + p)
    const int16_t* ic = is.data() + (i_hi - q);     // ic[h]: x(q - h)
    const int64_t width = h_hi[p] - h_lo[p] + 1;
    if (width >= WIDE)
      wide_antidiagonal(a + h_lo[p], b + h_lo[p], b2 + h_lo[p], jc + h_lo[p], ic + h_lo[p], c + h_lo[p], width,
                        mismatch, gap, cap);
    else
      antidiagonal(a + h_lo[p], b + h_lo[p], b2 + h_lo[p], jc + h_lo[p], ic + h_lo[p], c + h_lo[p], width, mismatch,
                   gap, cap);
    row(t, static_cast<const int16_t*>(c), highest(c + window[p], window_width));
  }
}

SelfAlignmentBound::Found SelfAlignmentBound::bound_stretch(size_t b0, size_t b1, const Band& band,
                                                            WorkerRoom& worker) const
{
  BackwardCells& backward = worker.backward;
  SeedBits& may = worker.may;
  // The seed [b, b + u) starts the forward table at (b, b + u), on
  // antidiagonal t = 2b + u, and the backward one at (n - b - u, n - b), on
  // 2n - t; on both its cell is h = (u - p) / 2, p the parity of t.
  const size_t seeds = b1 - b0;
  const int64_t t_lo = 2 * static_cast<int64_t>(b0) + u1, t_hi = 2 * static_cast<int64_t>(b1 - 1) + u2;
  const int64_t h0[2] = {(u1 + 1) / 2, u1 / 2}, width = (u2 - u1) / 2 + 1;
  // (By whole blocks, with the cells beyond the range's unit lengths.)
  const int64_t stride = (width + BLOCK - 1) / BLOCK * BLOCK;
  // Twice the threshold per cell and parity; more than any cell where the
  // unit length is not bounded.
  std::vector<int16_t> need[2];
  int32_t least_need[2] = {INT16_MAX, INT16_MAX};
  for (int p = 0; p < 2; ++p) {
    need[p].assign(static_cast<size_t>(width), INT16_MAX);
    for (int64_t h = 0; h < width; ++h) {
      const int64_t u = 2 * (h0[p] + h) + p;
      if (u >= u1 && u <= u2 && bounded[u - u1])
        need[p][static_cast<size_t>(h)] = static_cast<int16_t>(2 * min_score[u]);
      least_need[p] = std::min<int32_t>(least_need[p], need[p][static_cast<size_t>(h)]);
    }
  }
  // The highest backward cell of each antidiagonal, so that the forward
  // cells of most antidiagonals are seen to fall short without the
  // backward ones. Those are kept, h from h0[p] on, where there is room for
  // all of them (narrow ranges of unit lengths), by antidiagonal; else only
  // where the highest reaches half of what the least unit length needs, as
  // far as there is room (in sequence without repeats, hardly anywhere),
  // elsewhere the highest standing for all of them, which lets more seeds
  // through, never fewer. The table hands every antidiagonal with a seed
  // whose unit ends before the record's last residue; the others, near
  // the record's end, keep a highest cell of 0, and their cells are never
  // read.
  const size_t antidiagonals = static_cast<size_t>(t_hi - t_lo + 1), room = kept_cells / static_cast<size_t>(stride);
  const bool keep_all = antidiagonals <= room;
  std::vector<int16_t> backward_top(antidiagonals);
  backward.slot.assign(keep_all ? 0 : antidiagonals, NOT_KEPT);
  if (keep_all && backward.cells.size() < antidiagonals * static_cast<size_t>(stride))
    backward.cells.resize(antidiagonals * static_cast<size_t>(stride));
  const int32_t keep_from = std::min(least_need[0], least_need[1]) / 2;
  uint32_t kept = 0;
  const int64_t two_n = 2 * static_cast<int64_t>(n);
  const size_t r0 = n - std::min(n, b1 + u2 - 1), r1 = n - b0 - u1 + 1;
  run_table(-1, r0, r1, u1, band, 2 * static_cast<size_t>(band.backward_cap), [&](int64_t t, const int16_t* c,
                                                                                  int32_t top) {
    const int64_t forward_t = two_n - t;
    if (forward_t < t_lo || forward_t > t_hi)
      return;
    backward_top[static_cast<size_t>(forward_t - t_lo)] = static_cast<int16_t>(top);
    const int p = static_cast<int>(t & 1);
    if (keep_all) {
      copy_blocks(c + h0[p], backward.cells.data() + (forward_t - t_lo) * stride, stride);
      return;
    }
    if (top < keep_from || kept == room)
      return;
    const size_t end = (kept + 1) * static_cast<size_t>(stride);
    if (backward.cells.size() < end)
      backward.cells.resize(std::min(room * static_cast<size_t>(stride), std::max(2 * backward.cells.size(), end)));
    copy_blocks(c + h0[p], backward.cells.data() + (end - static_cast<size_t>(stride)), stride);
    backward.slot[static_cast<size_t>(forward_t - t_lo)] = kept++;
  }, most_lanes, &worker.codes);
  std::vector<int16_t> same(static_cast<size_t>(stride));
  const size_t words = (seeds + 63) / 64, k = u2 - u1 + 1;
  if (may.bits.size() < words * k) {
    may.bits.resize(words * k);
    may.lo.assign(k, UINT32_MAX);
    may.hi.assign(k, 0);
  }
  std::vector<int16_t> forward_top(static_cast<size_t>(t_hi - t_lo + 1));
  // (The forward table calls this for each antidiagonal, and most fall
  // short at their highest cells: what that needs is taken by value, which
  // keeps it in registers. Measured: the tables of units 3-11 take 0.85x
  // as long.)
  const int16_t* const back_tops = backward_top.data();
  int16_t* const forward_tops = forward_top.data();
  run_table(1, b0, b1, u1, band, 2 * static_cast<size_t>(band.forward_cap), [&, back_tops, forward_tops,
                                                                             t_lo, t_hi](int64_t t, const int16_t* c,
                                                                                         int32_t top) {
    if (t < t_lo || t > t_hi)
      return;
    forward_tops[t - t_lo] = static_cast<int16_t>(top);
    const int p = static_cast<int>(t & 1);
    // (top, the highest cell of the range's unit lengths, is at least that
    // of the seeds.)
    const int16_t back_top = back_tops[t - t_lo];
    if (__builtin_expect(top + back_top < least_need[p], 1))
      return;
    const int64_t q = (t - p) / 2;
    // The seeds b = q - h in [b0, b1) whose unit ends before the last
    // residue: q + h + p < n.
    const int64_t h_from = std::max<int64_t>(h0[p], q - static_cast<int64_t>(b1) + 1);
    const int64_t h_to = std::min<int64_t>({h0[p] + width - 1, q - static_cast<int64_t>(b0),
                                            static_cast<int64_t>(n) - 1 - q - p});
    const int16_t* needed = need[p].data() - h0[p];
    const int64_t span = h_to - h_from + 1;
    if (span <= 0)
      return;
    const int64_t slot = keep_all ? t - t_lo : backward.slot[static_cast<size_t>(t - t_lo)];
    if (slot == NOT_KEPT)
      std::fill(same.begin(), same.end(), back_top);
    const int16_t* back = (slot == NOT_KEPT ? same.data() : backward.cells.data() + slot * stride) - h0[p];
    if (!(span >= WIDE ? wide_any_reaches(c + h_from, back + h_from, needed + h_from, span)
                       : any_reaches(c + h_from, back + h_from, needed + h_from, span)))
      return;
    for (int64_t h = h_from; h <= h_to; ++h)
      if (c[h] + back[h] >= needed[h]) {
        const size_t b = static_cast<size_t>(q - h) - b0, u = static_cast<size_t>(2 * h + p) - u1;
        const uint32_t w = static_cast<uint32_t>(b / 64);
        may.bits[u * words + w] |= uint64_t(1) << (b % 64);
        may.lo[u] = std::min(may.lo[u], w);
        may.hi[u] = std::max(may.hi[u], w);
      }
  }, most_lanes, &worker.codes);
  Found found{ranges_of(may, b0, b1), {}};
  Tops& stretch_tops = found.tops;
  stretch_tops.first = static_cast<size_t>(t_lo / TOPS_BLOCK);
  const size_t blocks = static_cast<size_t>(t_hi / TOPS_BLOCK) + 1 - stretch_tops.first;
  stretch_tops.forward.assign(blocks, 0);
  stretch_tops.backward.assign(blocks, 0);
  auto in_steps = [](int32_t top) {
    return static_cast<uint8_t>(std::min<int32_t>(UNKNOWN_TOP, (top + TOP_STEP - 1) / TOP_STEP));
  };
  for (size_t i = 0; i < blocks; ++i) {
    const int64_t block = static_cast<int64_t>(stretch_tops.first + i) * TOPS_BLOCK;
    const size_t from = static_cast<size_t>(std::max(block, t_lo) - t_lo);
    const size_t to = static_cast<size_t>(std::min(block + TOPS_BLOCK - 1, t_hi) - t_lo);
    int16_t forward = 0, backward = 0;
    for (size_t at = from; at <= to; ++at) {
      forward = std::max(forward, forward_top[at]);
      backward = std::max(backward, backward_top[at]);
    }
    stretch_tops.forward[i] = in_steps(forward);
    stretch_tops.backward[i] = in_steps(backward);
  }
  return found;
}

SelfAlignmentBound::Ranges SelfAlignmentBound::ranges_of(SeedBits& may, size_t b0, size_t b1) const
{
  // The runs of set bits, by unit length, read and cleared word by word.
  const size_t words = (b1 - b0 + 63) / 64, k = u2 - u1 + 1;
  Ranges found(k);
  for (size_t u = 0; u < k; ++u) {
    if (may.lo[u] > may.hi[u])
      continue;
    std::vector<uint32_t>& ranges = found[u];
    uint64_t* m = may.bits.data() + u * words;
    bool inside = false;
    for (size_t w = may.lo[u]; w <= may.hi[u]; ++w) {
      // Each change between clear and set bits starts or ends a range.
      uint64_t changes = m[w] ^ (m[w] << 1 | (inside ? 1 : 0));
      inside = m[w] >> 63;
      m[w] = 0;
      for (; changes; changes &= changes - 1)
        ranges.push_back(static_cast<uint32_t>(b0 + w * 64 + static_cast<size_t>(__builtin_ctzll(changes))));
    }
    if (inside)
      ranges.push_back(static_cast<uint32_t>(std::min(b1, b0 + (may.hi[u] + size_t(1)) * 64)));
    may.lo[u] = UINT32_MAX;
    may.hi[u] = 0;
  }
  return found;
}

template <int Dir>
std::vector<int32_t> SelfAlignmentBound::cells_at_seeds(uint32_t u, int most_lanes, std::vector<int32_t>* tops) const
{
  std::vector<int32_t> cells(n, INT32_MAX);
  const Band band = band_of(u, u);
  if (band.hi == 0 || u >= n)
    return cells;
  if (tops)
    tops->assign(2 * n + 2, -1);
  run_table(Dir, 0, n - u, u, band, n, [&](int64_t t, const int16_t* c, int32_t top) {
    if (tops)
      (*tops)[static_cast<size_t>(t)] = top;
    // The start (i, i + u) on antidiagonal t = 2i + u.
    if ((t - u) % 2 == 0 && t >= u && t - u < 2 * static_cast<int64_t>(n - u)) {
      const size_t i = static_cast<size_t>((t - u) / 2);
      cells[Dir > 0 ? i : n - i - u] = c[(u - (t & 1)) / 2];
    }
  }, most_lanes);
  return cells;
}

template std::vector<int32_t> SelfAlignmentBound::cells_at_seeds<1>(uint32_t, int, std::vector<int32_t>*) const;
template std::vector<int32_t> SelfAlignmentBound::cells_at_seeds<-1>(uint32_t, int, std::vector<int32_t>*) const;
