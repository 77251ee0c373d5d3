#include "search/speedups/alignment_bound.h"

#include "search/unit_walk.h"

#include <algorithm>
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#include <immintrin.h>
#endif
#include <limits>

namespace {

// The score of a cell that no alignment reaches above the floor.
constexpr int32_t DEAD = std::numeric_limits<int32_t>::min() / 2;

// One residue r against the width cells of a row: to the next row, the
// cell of column j + 1 from the residue against unit character u[j]
// (scoring 1 or differ), or that of column j with the residue left out
// (indel). A column may stand for two unit characters, u[j] and v[j]: a
// residue that matches either scores 1. The next row has width + 1 cells.
void residue_step(const int32_t* row, int32_t* next, const char* u, const char* v, size_t width, char r,
                  int32_t differ, int32_t indel)
{
  next[0] = row[0] + indel;
  for (size_t j = 0; j + 1 < width; ++j)
    next[j + 1] = std::max(row[j + 1] + indel, row[j] + ((r == u[j]) | (r == v[j]) ? 1 : differ));
  next[width] = row[width - 1] + ((r == u[width - 1]) | (r == v[width - 1]) ? 1 : differ);
}

// The carry of left-out unit characters over cells r[0, width), each
// r[j] = max(r[j], r[j - 1] + gap), and their cut to the floor: cells at
// low or below become DEAD. Gives the carry past the last cell, the best
// cell, and the first and one past the last living cell (a = width where
// none lives).
struct Carried {
  int32_t carry, top;
  size_t a, e;
};

Carried carry_and_cut(int32_t* r, size_t width, int32_t gap, int32_t low, size_t from = 0, int32_t carry = DEAD)
{
  Carried c{carry, DEAD, width, from};
  for (size_t j = from; j < width; ++j) {
    const int32_t v = std::max(r[j], c.carry);
    c.carry = v + gap;
    r[j] = v > low ? v : DEAD;
    if (v > low) {
      c.a = std::min(c.a, j);
      c.e = j + 1;
    }
    c.top = std::max(c.top, r[j]);
  }
  return c;
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define CARRY_IN_LANES 1
// The same by blocks of 16 cells, where the processor has 16 lanes of 32
// bits: a block carries within itself by doubling steps, then takes the
// carry of the block before. Gaps of at least -2^16 keep every sum far
// from overflow.
// (g++ 12 takes the undefined lanes inside its own intrinsics for
// uninitialized ones in sanitized builds.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#define IN_LANES __attribute__((target("arch=x86-64-v4")))

// One block of 16 cells: each takes the carry from the cells before it in
// the block, by doubling steps, and from the block before (carry).
IN_LANES __attribute__((always_inline)) inline __m512i carry_block(__m512i x, int32_t carry, int32_t gap)
{
  const __m512i dead = _mm512_set1_epi32(DEAD), one = _mm512_set1_epi32(gap);
  const __m512i steps = _mm512_mullo_epi32(_mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15), one);
  x = _mm512_max_epi32(x, _mm512_add_epi32(_mm512_alignr_epi32(x, dead, 15), one));
  x = _mm512_max_epi32(x, _mm512_add_epi32(_mm512_alignr_epi32(x, dead, 14), _mm512_set1_epi32(2 * gap)));
  x = _mm512_max_epi32(x, _mm512_add_epi32(_mm512_alignr_epi32(x, dead, 12), _mm512_set1_epi32(4 * gap)));
  x = _mm512_max_epi32(x, _mm512_add_epi32(_mm512_alignr_epi32(x, dead, 8), _mm512_set1_epi32(8 * gap)));
  return _mm512_max_epi32(x, _mm512_add_epi32(_mm512_set1_epi32(carry), steps));
}

// The cut of the lanes of a block of cells from j on to the floor (low):
// notes the living ones in c and gives the block with the others DEAD.
IN_LANES __attribute__((always_inline)) inline __m512i cut_block(__m512i x, __mmask16 lanes, int32_t low, size_t j,
                                                                 Carried& c)
{
  const __mmask16 alive = static_cast<__mmask16>(_mm512_cmpgt_epi32_mask(x, _mm512_set1_epi32(low)) & lanes);
  // The lanes alive in the high half of a word: the last one is counted
  // from the top, clear of what lies above 16 bits (g++ 12 may reload a
  // spilled mask with them).
  const uint32_t high = _cvtmask16_u32(alive) << 16;
  if (high) {
    c.a = std::min<size_t>(c.a, j + static_cast<size_t>(__builtin_ctz(high)) - 16);
    c.e = j + 16 - static_cast<size_t>(__builtin_clz(high));
  }
  return _mm512_mask_mov_epi32(_mm512_set1_epi32(DEAD), alive, x);
}

IN_LANES Carried carry_and_cut_in_lanes(int32_t* r, size_t width, int32_t gap, int32_t low)
{
  __m512i top = _mm512_set1_epi32(DEAD);
  Carried c{DEAD, DEAD, width, 0};
  size_t j = 0;
  for (; j + 16 <= width; j += 16) {
    const __m512i x = carry_block(_mm512_loadu_si512(r + j), c.carry, gap);
    c.carry = std::max(_mm_extract_epi32(_mm512_extracti32x4_epi32(x, 3), 3) + gap, DEAD);
    const __m512i cut = cut_block(x, 0xffff, low, j, c);
    _mm512_storeu_si512(r + j, cut);
    top = _mm512_max_epi32(top, cut);
  }
  const Carried rest = carry_and_cut(r, width, gap, low, j, c.carry);
  c.carry = rest.carry;
  c.top = std::max(_mm512_reduce_max_epi32(top), rest.top);
  if (rest.a < width) {
    c.a = std::min(c.a, rest.a);
    c.e = rest.e;
  }
  return c;
}

// A residue step (residue_step) and the carry and cut of the new row in
// one pass, by the same blocks of 16 lanes: from the width cells of row to
// the width + 1 cells of next.
IN_LANES Carried step_carry_and_cut_in_lanes(const int32_t* row, int32_t* next, const char* u, const char* v,
                                             size_t width, char r, int32_t differ, int32_t indel, int32_t low)
{
  const __m512i dead = _mm512_set1_epi32(DEAD), one = _mm512_set1_epi32(indel);
  const __m512i match = _mm512_set1_epi32(1), mismatch = _mm512_set1_epi32(differ);
  const __m128i residue = _mm_set1_epi8(r);
  __m512i top = dead;
  const size_t cells = width + 1;
  Carried c{DEAD, DEAD, cells, 0};
  for (size_t j = 0; j < cells; j += 16) {
    // Lane l is cell j + l: from row[j + l] with the residue left out, and
    // from row[j + l - 1] with the residue against unit character j + l - 1.
    const size_t left = cells - j;
    const __mmask16 lanes = left >= 16 ? __mmask16(0xffff) : static_cast<__mmask16>((1u << left) - 1);
    const __mmask16 same = j + 16 <= width ? __mmask16(0xffff) : static_cast<__mmask16>((1u << (width - j)) - 1);
    const __mmask16 before = static_cast<__mmask16>(lanes & (j == 0 ? 0xfffe : 0xffff));
    const __m512i kept = _mm512_mask_loadu_epi32(dead, same, row + j);
    const __m512i stepped = _mm512_mask_loadu_epi32(dead, before, row + j - 1);
    const __mmask16 matches = _mm_mask_cmpeq_epi8_mask(before, _mm_maskz_loadu_epi8(before, u + j - 1), residue) |
                              _mm_mask_cmpeq_epi8_mask(before, _mm_maskz_loadu_epi8(before, v + j - 1), residue);
    __m512i x = _mm512_max_epi32(_mm512_add_epi32(kept, one),
                                 _mm512_add_epi32(stepped, _mm512_mask_mov_epi32(mismatch, matches, match)));
    x = carry_block(_mm512_mask_mov_epi32(dead, lanes, x), c.carry, indel);
    const __m512i cut = cut_block(x, lanes, low, j, c);
    _mm512_mask_storeu_epi32(next + j, lanes, cut);
    top = _mm512_max_epi32(top, cut);
    // The carry past the last cell of the block, or of the row.
    const size_t last = std::min<size_t>(left, 16) - 1;
    alignas(64) int32_t lane[16];
    _mm512_store_si512(lane, x);
    c.carry = std::max(lane[last] + indel, DEAD);
  }
  c.top = _mm512_reduce_max_epi32(top);
  return c;
}
#pragma GCC diagnostic pop

bool carry_fits_lanes() { return __builtin_cpu_supports("x86-64-v4"); }
#else
bool carry_fits_lanes() { return false; }
#endif

// Makes room for at least size cells.
void make_room(std::vector<int32_t>& cells, size_t size)
{
  if (cells.size() < size)
    cells.resize(std::max(size, 2 * cells.size()));
}

} // namespace

AlignmentBound::AlignmentBound(const char* first, const char* last, const Scoring& g, bool lanes)
    : first(first), last(last), mismatch(g.mismatch), indel(g.indel), prefer_longer(g.prefer_longer),
      in_lanes(lanes && indel >= -(1 << 16) && carry_fits_lanes())
{
}

template <int Dir>
int64_t AlignmentBound::best_score(const char* c, const char* p, const char* ub, const char* ue, const char* bound,
                                   int32_t start, int64_t floor, int64_t enough)
{
  int64_t best = start;
  if (best >= enough)
    return best;
  // The unit characters in the order the walk meets them, from p on; the
  // row's columns read them from column lo % L on, so the unit is repeated
  // as far as a row reaches.
  const size_t L = static_cast<size_t>(ue - ub);
  unit.clear();
  for (size_t j = 0; j < L; ++j, p = step_unit<Dir>(p, ub, ue))
    unit.push_back(*p);
  const int32_t low = static_cast<int32_t>(std::max<int64_t>(floor, DEAD)); // alive: above low
  // Cells are (residues consumed, unit characters consumed). A row holds
  // the cells of one number of residues, columns [lo, lo + width).
  // Beyond this many cells the alignments live long: the unit repeats here,
  // and the extension itself is the quicker answer.
  int64_t cells_left = 128 * static_cast<int64_t>(L) + 4096;
  // Unit characters left out before the first residue.
  start_row(0, start);
  best = std::max<int64_t>(best, close_row(low));
  for (const char* x = c; x != bound && width > 0; x += Dir) {
    cells_left -= static_cast<int64_t>(width);
    if (cells_left < 0)
      return std::max(best, enough);
    const size_t k0 = static_cast<size_t>(lo % L);
    while (unit.size() < k0 + width)
      unit.insert(unit.end(), unit.begin(), unit.begin() + static_cast<ptrdiff_t>(L));
    const char* u = unit.data() + k0;
    best = std::max<int64_t>(best, next_row(u, u, *x, low));
    if (best >= enough)
      return best;
  }
  return best;
}

void AlignmentBound::start_row(uint64_t column, int32_t score)
{
  make_room(row, 1);
  row[0] = score;
  off = 0;
  width = 1;
  lo = column;
}

int32_t AlignmentBound::next_row(const char* u, const char* v, char x, int32_t low)
{
  // A residue N scores 0 against any unit character: as passed, or less.
  const int32_t differ = x == 'N' ? 0 : mismatch;
  make_room(next, width + 1);
#ifdef CARRY_IN_LANES
  if (in_lanes) {
    const Carried c = step_carry_and_cut_in_lanes(row.data() + off, next.data(), u, v, width, x, differ, indel, low);
    row.swap(next);
    off = 0;
    ++width;
    return cut_row(c.carry, c.top, c.a, c.e, low);
  }
#endif
  residue_step(row.data() + off, next.data(), u, v, width, x, differ, indel);
  row.swap(next);
  off = 0;
  ++width;
  return close_row(low);
}

int32_t AlignmentBound::close_row(int32_t low)
{
  // A cell may also be reached from the one before it with a unit
  // character left out, also past the last one. A path may not pass
  // through a cell at the floor or below it; as a cell there only passes on
  // less, the cells are cut to the floor after the pass. The living
  // stretch is [a, e).
  const int32_t gap = indel;
  int32_t* r = row.data() + off;
#ifdef CARRY_IN_LANES
  const Carried c = in_lanes && width >= 16 ? carry_and_cut_in_lanes(r, width, gap, low)
                                            : carry_and_cut(r, width, gap, low);
#else
  const Carried c = carry_and_cut(r, width, gap, low);
#endif
  return cut_row(c.carry, c.top, c.a, c.e, low);
}

int32_t AlignmentBound::cut_row(int32_t carry, int32_t best, size_t first_alive, size_t end_alive, int32_t low)
{
  const int32_t gap = indel;
  int32_t* r = row.data() + off;
  Carried c{carry, best, first_alive, end_alive};
  if (c.carry > low) {
    // The carry past the last cell lives on in cells of their own.
    const size_t more = static_cast<size_t>((c.carry - low - 1) / -gap) + 1;
    make_room(row, off + width + more);
    r = row.data() + off;
    c.a = std::min(c.a, width);
    for (size_t j = 0; j < more; ++j, c.carry += gap)
      r[width++] = c.carry;
    c.e = width;
  }
  const size_t a = std::min(c.a, c.e), e = c.e;
  const int32_t top = c.top;
  off += a;
  lo += a;
  width = e - a;
  return top;
}

template <int Dir>
int64_t AlignmentBound::stretch_best_score(const char* b0, uint32_t k, uint32_t u, int32_t start, int64_t floor,
                                           int64_t enough)
{
  // In the walk's order, row i reads residue r[i] and column j unit
  // character q[j]; seed t of the stretch starts in row t, column t.
  // Forward, seed b0 + t reads residues from b0 + t + u on against the
  // residues from b0 + t on; backward, residues from b0 + t - 1 down
  // against those from b0 + t + u - 1 down. Past the first copy seed t
  // reads at column j the residue q[j - c u], c = (j - t) / u the copies
  // before; as k <= u, the seeds of a column read at most two residues,
  // and the table scores a residue that matches either as a match: each
  // seed's own alignments only score higher there.
  const char* r = Dir > 0 ? b0 + u : b0 + k - 2;
  const char* q = Dir > 0 ? b0 : b0 + k - 2 + u;
  const char* bound = Dir > 0 ? last : first - 1;
  const int32_t low = static_cast<int32_t>(std::max<int64_t>(floor, DEAD));
  int64_t best = start;
  if (best >= enough || start <= low)
    return best;
  int64_t cells_left = static_cast<int64_t>(u) * (k + 4 * u) + 4096;
  // The unit characters of the columns, in walk order, made as far as the
  // living cells reach.
  unit.clear();
  other.clear();
  auto make_columns = [&](size_t columns) {
    for (size_t j = unit.size(); j < columns; ++j) {
      const size_t copies = j / u, fewest = (j - std::min<size_t>(k - 1, j)) / u;
      unit.push_back(q[Dir * static_cast<ptrdiff_t>(j - copies * u)]);
      other.push_back(q[Dir * static_cast<ptrdiff_t>(j - fewest * u)]);
    }
  };
  width = 0;
  for (uint64_t i = 0;; ++i, r += Dir) {
    if (i < k) {
      // The start of seed i, in column i: its cell and those to the left
      // of the living ones are made room for.
      if (width == 0) {
        start_row(i, start);
      } else {
        if (i < lo) {
          const size_t more = static_cast<size_t>(lo - i);
          make_room(next, more + width);
          std::fill(next.begin(), next.begin() + static_cast<ptrdiff_t>(more), DEAD);
          std::copy(row.begin() + static_cast<ptrdiff_t>(off), row.begin() + static_cast<ptrdiff_t>(off + width),
                    next.begin() + static_cast<ptrdiff_t>(more));
          row.swap(next);
          off = 0;
          width += more;
          lo = i;
        }
        if (i >= lo + width) {
          const size_t more = static_cast<size_t>(i - lo) + 1 - width;
          make_room(row, off + width + more);
          std::fill(row.begin() + static_cast<ptrdiff_t>(off + width),
                    row.begin() + static_cast<ptrdiff_t>(off + width + more), DEAD);
          width += more;
        }
        int32_t& cell = row[off + static_cast<size_t>(i - lo)];
        cell = std::max(cell, start);
      }
      close_row(low);
    }
    if (width == 0 && i + 1 >= k)
      return best;
    if (r == bound)
      return best;
    cells_left -= static_cast<int64_t>(width);
    if (cells_left < 0)
      return std::max(best, enough);
    make_columns(lo + width);
    best = std::max<int64_t>(best, next_row(unit.data() + lo, other.data() + lo, *r, low));
    if (best >= enough)
      return best;
  }
}

bool AlignmentBound::stretch_falls_short(const char* b0, uint32_t k, uint32_t u, int32_t min_score)
{
  const int64_t floor = -static_cast<int64_t>(u) - prefer_longer;
  const int64_t forward = stretch_best_score<1>(b0, k, u, 0, floor, min_score);
  if (forward >= min_score)
    return false;
  return stretch_best_score<-1>(b0, k, u, static_cast<int32_t>(forward), floor, min_score) < min_score;
}

bool AlignmentBound::falls_short(const char* b, uint32_t u, int32_t min_score)
{
  const int64_t floor = -static_cast<int64_t>(u) - prefer_longer;
  const char* ub = b;
  const char* ue = b + u;
  const int64_t forward = best_score<1>(ue, ub, ub, ue, last, 0, floor, min_score);
  if (forward >= min_score)
    return false;
  // Going backward, the extension starts from the score it reached forward.
  return best_score<-1>(b - 1, ue - 1, ub, ue, first - 1, static_cast<int32_t>(forward), floor, min_score) < min_score;
}
