#include "search/speedups/alignment_bound.h"

#include "search/unit_walk.h"

#include <algorithm>
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#include <immintrin.h>
#endif
#include <limits>
#include <optional>
#include <utility>

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
    next[j + 1] = std::max(row[j + 1] + indel, row[j] + (((r == u[j]) | (r == v[j])) ? 1 : differ));
  next[width] = row[width - 1] + (((r == u[width - 1]) | (r == v[width - 1])) ? 1 : differ);
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

// A cell no alignment reaches above the floor.
template <class Cell>
constexpr Cell dead_cell()
{
  return sizeof(Cell) == 2 ? Cell(INT16_MIN) : Cell(DEAD);
}

template <class Cell>
Carried carry_and_cut(Cell* r, size_t width, int32_t gap, int32_t low)
{
  Carried c{DEAD, DEAD, width, 0};
  for (size_t j = 0; j < width; ++j) {
    const int32_t v = std::max<int32_t>(r[j], c.carry);
    c.carry = v + gap;
    r[j] = v > low ? static_cast<Cell>(v) : dead_cell<Cell>();
    if (v > low) {
      c.a = std::min(c.a, j);
      c.e = j + 1;
      c.top = std::max(c.top, v);
    }
  }
  return c;
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define CARRY_IN_LANES 1
// The same by blocks of 32 cells of 16 bits, where the processor has 32
// lanes of them: a block carries within itself by doubling steps, then
// takes the carry of the block before.
// (g++ 12 takes the undefined lanes inside its own intrinsics for
// uninitialized ones, in sanitized builds and without link-time
// optimisation.)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#define IN_LANES __attribute__((target("arch=x86-64-v4")))

// Rows in lanes hold cells of 16 bits, where every score that matters fits
// them (narrow_cells_hold): living cells lie above the floor, at least
// -NARROW_HOLDS, and below enough, at most NARROW_HOLDS; sums saturate, and
// any sum with a dead cell or a saturated one lies below the floor.
constexpr int16_t DEAD16 = INT16_MIN;

// A cell of 16 bits as one of 32.
inline int32_t cell_of16(int32_t cell) { return cell == DEAD16 ? DEAD : cell; }

// The highest of 8 lanes of 16 bits, as a cell.
__attribute__((target("arch=x86-64-v3"), always_inline)) inline int32_t highest_of_8(__m128i x)
{
  // The lowest of INT16_MAX - lane, taken without sign, is at the highest lane.
  const __m128i flipped = _mm_sub_epi16(_mm_set1_epi16(INT16_MAX), x);
  return cell_of16(INT16_MAX - static_cast<int32_t>(_mm_cvtsi128_si32(_mm_minpos_epu16(flipped)) & 0xffff));
}

// Lane l of the steps of a block is gap times l.
IN_LANES __attribute__((always_inline)) inline __m512i gap_steps16(int32_t gap)
{
  alignas(64) int16_t steps[32];
  for (int l = 0; l < 32; ++l)
    steps[l] = static_cast<int16_t>(l * gap);
  return _mm512_load_si512(steps);
}

// One block of 32 cells: each takes the carry from the cells before it in
// the block, by doubling steps, and from the block before (carry, in every
// lane; steps holds gap times the lane). The carry stays in a vector from
// block to block: through memory it would wait on the store of the block.
IN_LANES __attribute__((always_inline)) inline __m512i carry_block16(__m512i x, __m512i carry, __m512i steps,
                                                                     int32_t gap)
{
  const __m512i dead = _mm512_set1_epi16(DEAD16);
  const __m512i up_one = _mm512_set_epi16(30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13,
                                          12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0);
  const int16_t g = static_cast<int16_t>(gap);
  x = _mm512_max_epi16(x, _mm512_adds_epi16(_mm512_mask_permutexvar_epi16(dead, 0xfffffffe, up_one, x),
                                            _mm512_set1_epi16(g)));
  // Two lanes of 16 bits are one of 32.
  x = _mm512_max_epi16(x, _mm512_adds_epi16(_mm512_alignr_epi32(x, dead, 15), _mm512_set1_epi16(2 * g)));
  x = _mm512_max_epi16(x, _mm512_adds_epi16(_mm512_alignr_epi32(x, dead, 14), _mm512_set1_epi16(4 * g)));
  x = _mm512_max_epi16(x, _mm512_adds_epi16(_mm512_alignr_epi32(x, dead, 12), _mm512_set1_epi16(8 * g)));
  x = _mm512_max_epi16(x, _mm512_adds_epi16(_mm512_alignr_epi32(x, dead, 8), _mm512_set1_epi16(16 * g)));
  return _mm512_max_epi16(x, _mm512_adds_epi16(carry, steps));
}

// The lanes of a block of cells [j, j + 32) that a row of width cells has.
IN_LANES __attribute__((always_inline)) inline __mmask32 lanes_of(size_t j, size_t width)
{
  return j + 32 <= width ? __mmask32(0xffffffff)
         : j >= width   ? __mmask32(0)
                        : _bzhi_u32(0xffffffff, static_cast<unsigned>(width - j));
}

// The carry of a block, its cut to the floor and its store at r: x holds
// the cells [j, j + 32) of a row of width cells. Notes the living ones in
// c, the highest in top, and leaves the carry past the block, or past the
// row, in carry.
IN_LANES __attribute__((always_inline)) inline void carry_and_cut_block16(__m512i x, int16_t* r, size_t j,
                                                                          size_t width, __m512i steps, int32_t gap,
                                                                          int32_t low, __m512i& carry, __m512i& top,
                                                                          Carried& c)
{
  const __mmask32 lanes = lanes_of(j, width);
  x = carry_block16(_mm512_mask_mov_epi16(_mm512_set1_epi16(DEAD16), lanes, x), carry, steps, gap);
  const __mmask32 alive = _mm512_cmpgt_epi16_mask(x, _mm512_set1_epi16(static_cast<int16_t>(low))) & lanes;
  if (alive) {
    c.a = std::min<size_t>(c.a, j + static_cast<size_t>(__builtin_ctz(alive)));
    c.e = j + 32 - static_cast<size_t>(__builtin_clz(alive));
  }
  const __m512i cut = _mm512_mask_mov_epi16(_mm512_set1_epi16(DEAD16), alive, x);
  _mm512_mask_storeu_epi16(r + j, lanes, cut);
  top = _mm512_max_epi16(top, cut);
  const size_t last = std::min<size_t>(width - j, 32) - 1;
  carry = _mm512_adds_epi16(_mm512_permutexvar_epi16(_mm512_set1_epi16(static_cast<int16_t>(last)), x),
                            _mm512_set1_epi16(static_cast<int16_t>(gap)));
}

// The highest lane of 16 bits, and the carry of a row as a cell.
IN_LANES inline int32_t highest16(__m512i x)
{
  const __m256i four = _mm256_max_epi16(_mm512_castsi512_si256(x), _mm512_extracti64x4_epi64(x, 1));
  return highest_of_8(_mm_max_epi16(_mm256_castsi256_si128(four), _mm256_extracti128_si256(four, 1)));
}
IN_LANES inline int32_t carry_cell16(__m512i carry)
{
  return cell_of16(static_cast<int16_t>(_mm_extract_epi16(_mm512_castsi512_si128(carry), 0)));
}

// A residue step (residue_step) and the carry and cut of the new row in
// one pass, by the same blocks: from the width cells of row to the
// width + 1 cells of next.
IN_LANES __attribute__((always_inline)) inline Carried step_carry_and_cut_in_lanes(
    const int16_t* row, int16_t* next, const char* u, const char* v, size_t width, char r, int32_t differ,
    int32_t indel, int32_t low)
{
  const __m512i dead = _mm512_set1_epi16(DEAD16), one = _mm512_set1_epi16(static_cast<int16_t>(indel));
  const __m512i match = _mm512_set1_epi16(1), mismatch = _mm512_set1_epi16(static_cast<int16_t>(differ));
  const __m256i residue = _mm256_set1_epi8(r);
  const __m512i steps = gap_steps16(indel);
  __m512i top = dead, carry = dead;
  const size_t cells = width + 1;
  Carried c{DEAD, DEAD, cells, 0};
  for (size_t j = 0; j < cells; j += 32) {
    // Lane l is cell j + l: from row[j + l] with the residue left out, and
    // from row[j + l - 1] with the residue against unit character j + l - 1.
    const __mmask32 same = lanes_of(j, width);
    const __mmask32 before = lanes_of(j, cells) & (j == 0 ? 0xfffffffe : 0xffffffff);
    const __m512i kept = _mm512_mask_loadu_epi16(dead, same, row + j);
    const __m512i stepped = _mm512_mask_loadu_epi16(dead, before, row + j - 1);
    const __mmask32 matches = _mm256_mask_cmpeq_epi8_mask(before, _mm256_maskz_loadu_epi8(before, u + j - 1), residue) |
                              _mm256_mask_cmpeq_epi8_mask(before, _mm256_maskz_loadu_epi8(before, v + j - 1), residue);
    const __m512i x = _mm512_max_epi16(_mm512_adds_epi16(kept, one),
                                       _mm512_adds_epi16(stepped, _mm512_mask_mov_epi16(mismatch, matches, match)));
    carry_and_cut_block16(x, next, j, cells, steps, indel, low, carry, top, c);
  }
  c.carry = carry_cell16(carry);
  c.top = highest16(top);
  return c;
}

// The same by blocks of 16 cells, where the processor has 16 lanes of 16
// bits but not 32. These vectors shift lanes only within their halves of
// 8, so a block carries within its halves by doubling steps, then from the
// lower half into the upper one. They have no masked loads and stores: the
// buffers of a row keep room for a block past its end (PAST_ROW), the lanes
// past the row above are read as dead, and those past the new row hold the
// carry of its last cell, cut to the floor like the others.
#define IN_HALF_VECTORS __attribute__((target("arch=x86-64-v3")))

// Lanes [0, n) of a block, n <= 16.
IN_HALF_VECTORS __attribute__((always_inline)) inline __m256i half_lanes_of(size_t n)
{
  return _mm256_cmpgt_epi16(_mm256_set1_epi16(static_cast<int16_t>(n)),
                            _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
}

// The carry of a block, its cut to the floor and its store at r + j: x
// holds the cells [j, j + 16), those outside lanes below the floor. Notes
// the living ones in c, the highest in top, leaves the carry past the
// block in carry, and gives the carried cells before their cut.
IN_HALF_VECTORS __attribute__((always_inline)) inline __m256i carry_and_cut_half_block16(
    __m256i x, __m256i lanes, int16_t* r, size_t j, int32_t gap, int32_t low, __m256i& carry, __m256i& top,
    Carried& c)
{
  const __m256i dead = _mm256_set1_epi16(DEAD16);
  const int16_t g = static_cast<int16_t>(gap);
  // Lane l of steps is gap times l; of upper_steps, gap times l - 7 in the
  // upper half.
  const __m256i steps = _mm256_mullo_epi16(
      _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15), _mm256_set1_epi16(g));
  const __m256i upper_steps = _mm256_mullo_epi16(
      _mm256_setr_epi16(0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8), _mm256_set1_epi16(g));
  // Picks lane 7 of each half.
  const __m256i seventh = _mm256_set1_epi16(0x0f0e);
  // Each cell takes the carry of the 1, 2 and 4 cells before it in its
  // half, then the upper half that of the lower one's last cell.
  x = _mm256_max_epi16(x, _mm256_adds_epi16(_mm256_alignr_epi8(x, dead, 14), _mm256_set1_epi16(g)));
  x = _mm256_max_epi16(x, _mm256_adds_epi16(_mm256_alignr_epi8(x, dead, 12), _mm256_set1_epi16(2 * g)));
  x = _mm256_max_epi16(x, _mm256_adds_epi16(_mm256_alignr_epi8(x, dead, 8), _mm256_set1_epi16(4 * g)));
  x = _mm256_max_epi16(
      x, _mm256_adds_epi16(_mm256_shuffle_epi8(_mm256_permute2x128_si256(x, dead, 0x02), seventh), upper_steps));
  // The carry past the block is the larger of the last cell's own and that
  // of the block before carried over all 16 cells: the next block waits on
  // this one by a sum and a max, not by its whole carry.
  const __m256i last = _mm256_shuffle_epi8(_mm256_permute2x128_si256(x, x, 0x11), seventh);
  x = _mm256_max_epi16(x, _mm256_adds_epi16(carry, steps));
  carry = _mm256_max_epi16(_mm256_adds_epi16(last, _mm256_set1_epi16(g)),
                           _mm256_adds_epi16(carry, _mm256_set1_epi16(static_cast<int16_t>(16 * g))));
  const __m256i alive = _mm256_and_si256(_mm256_cmpgt_epi16(x, _mm256_set1_epi16(static_cast<int16_t>(low))), lanes);
  // One bit a byte, two a lane.
  const uint32_t bits = static_cast<uint32_t>(_mm256_movemask_epi8(alive));
  if (bits) {
    c.a = std::min<size_t>(c.a, j + static_cast<size_t>(__builtin_ctz(bits)) / 2);
    c.e = j + 16 - static_cast<size_t>(__builtin_clz(bits)) / 2;
  }
  const __m256i cut = _mm256_blendv_epi8(dead, x, alive);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(r + j), cut);
  top = _mm256_max_epi16(top, cut);
  return x;
}

// The highest lane of top, as a cell.
IN_HALF_VECTORS inline int32_t highest_in_halves16(__m256i top)
{
  return highest_of_8(_mm_max_epi16(_mm256_castsi256_si128(top), _mm256_extracti128_si256(top, 1)));
}

// step_carry_and_cut_in_half_vectors gives the carry past a row's last cell
// in cells of the row, stored by whole blocks; the buffers of rows keep room
// for those of this much carry (above low, below enough).
inline size_t carried_cells(int32_t low, int64_t enough, int32_t gap)
{
  return static_cast<size_t>((enough - low) / -gap) + 1;
}

// step_carry_and_cut_in_lanes in half vectors; row, next, u and v have room
// for a block past the row, and next for the carry's cells past it too
// (carried_cells): they are made here by whole blocks, which the next row
// reads back as they were stored, where cells appended one by one would
// have to leave the store queue first.
IN_HALF_VECTORS __attribute__((always_inline)) inline Carried step_carry_and_cut_in_half_vectors(
    const int16_t* row, int16_t* next, const char* u, const char* v, size_t width, char r, int32_t differ,
    int32_t indel, int32_t low)
{
  const __m256i dead = _mm256_set1_epi16(DEAD16), one = _mm256_set1_epi16(static_cast<int16_t>(indel));
  const __m256i match = _mm256_set1_epi16(1), mismatch = _mm256_set1_epi16(static_cast<int16_t>(differ));
  const __m128i residue = _mm_set1_epi8(r);
  __m256i top = dead, carry = dead, diagonal = dead;
  Carried c{DEAD, DEAD, width + 1, 0};
  // Lane l is cell j + l: from row[j + l] with the residue left out, and
  // from row[j + l - 1] with the residue against unit character j + l - 1.
  // Those sums are made in the lane of the cell they come from and moved up
  // one lane, the last one into lane 0 of the next block (diagonal). kept:
  // the lanes with a cell of row above them; lanes: those of the new row.
  auto block = [&](size_t j, __m256i kept, __m256i lanes) IN_HALF_VECTORS __attribute__((always_inline)) {
    kept = _mm256_blendv_epi8(dead, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + j)), kept);
    const __m128i matches =
        _mm_or_si128(_mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(u + j)), residue),
                     _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(v + j)), residue));
    const __m256i sums = _mm256_adds_epi16(kept, _mm256_blendv_epi8(mismatch, match, _mm256_cvtepi8_epi16(matches)));
    const __m256i stepped = _mm256_alignr_epi8(sums, _mm256_permute2x128_si256(diagonal, sums, 0x21), 14);
    diagonal = sums;
    return carry_and_cut_half_block16(_mm256_max_epi16(_mm256_adds_epi16(kept, one), stepped), lanes, next, j,
                                      indel, low, carry, top, c);
  };
  // By blocks whose every lane has a cell of row above it, then the block
  // of the last cell, width.
  const __m256i all = _mm256_set1_epi16(-1);
  size_t j = 0;
  for (; j + 16 <= width; j += 16)
    block(j, all, all);
  // The last block's lanes past the new row take the carry, and further
  // blocks while it lives. (A row ends where its carry falls to the floor,
  // so the new row's last cell lies at most a match above it, and its carry
  // lives for a cell or two: never more than one further block.)
  block(j, half_lanes_of(width - j), all);
  while (static_cast<int16_t>(_mm256_extract_epi16(carry, 0)) > low) {
    j += 16;
    carry_and_cut_half_block16(dead, all, next, j, indel, low, carry, top, c);
  }
  c.carry = DEAD;
  c.top = highest_in_halves16(top);
  return c;
}
#pragma GCC diagnostic pop

// The lanes of 16 bits of the widest vectors, up to most, that the
// processor has for rows: 32, 16, or none.
int lanes_for_rows(int most)
{
  if (most >= 32 && __builtin_cpu_supports("x86-64-v4"))
    return 32;
  if (most >= 16 && __builtin_cpu_supports("x86-64-v3"))
    return 16;
  return 0;
}
#else
int lanes_for_rows(int) { return 0; }
#endif

// Makes room for at least size cells (asked for each row; seldom made).
template <class Cell>
[[gnu::noinline]] void grow(std::vector<Cell>& cells, size_t size)
{
  cells.resize(std::max(size, 2 * cells.size()));
}
template <class Cell>
__attribute__((always_inline)) inline void make_room(std::vector<Cell>& cells, size_t size)
{
  if (__builtin_expect(cells.size() < size, 0))
    grow(cells, size);
}

// Scores from -NARROW_HOLDS to NARROW_HOLDS fit cells of 16 bits with room
// for the sums of a block: with gaps of at least -NARROW_GAP, 32 gaps stay
// within 16 bits.
constexpr int32_t NARROW_HOLDS = 16000, NARROW_GAP = 1000;

// Rows in half vectors read and write a block of cells past the row's end,
// and read as many unit characters: the buffers keep that room.
constexpr size_t PAST_ROW = 16;

// Cuts a carried row to its living stretch: the carry past the last cell
// lives on in cells of their own. Gives the best cell.
template <class Rows>
inline int32_t cut_to_living(Rows& rows, Carried c, int32_t gap, int32_t low)
{
  if (c.carry > low) {
    const size_t more = static_cast<size_t>((c.carry - low - 1) / -gap) + 1;
    make_room(rows.row, rows.off + rows.width + more);
    using Cell = typename decltype(rows.row)::value_type;
    Cell* r = rows.row.data() + rows.off;
    c.a = std::min(c.a, rows.width);
    for (size_t j = 0; j < more; ++j, c.carry += gap)
      r[rows.width++] = static_cast<Cell>(c.carry);
    c.e = rows.width;
  }
  const size_t a = std::min(c.a, c.e), e = c.e;
  rows.off += a;
  rows.lo += a;
  rows.width = e - a;
  return c.top;
}

// Columns [from, to) of a run's table: column j reads q[j] (in walk order
// Dir) below own, then repeats the column period before it. Made by whole
// stretches, from locals: cell by cell through the table's vectors, each
// store of a character would make the compiler load them again.
template <int Dir>
void repeated_columns(char* column, size_t from, size_t to, size_t own, size_t period, const char* q)
{
  size_t j = from;
  if (Dir > 0 && j < own) {
    const size_t end = std::min(to, own);
    std::copy(q + j, q + end, column + j);
    j = end;
  }
  for (; j < std::min(to, own); ++j)
    column[j] = *(q - j);
  // Stretches of at most a period copy columns made before them.
  for (size_t n; j < to; j += n) {
    n = std::min(period, to - j);
    std::copy(column + j - period, column + j - period + n, column + j);
  }
}

// Rows stepped over residues, one after another: the residue at, the best
// score so far, the cells the rows may still take, and the living cells
// of the rows made.
struct RowsRun {
  const char* at;
  int64_t best, cells_left;
  uint64_t living;
};

// Why step_rows stopped: it made as many rows as asked; no cell lived or
// the residues ended; the cells ran out; a cell reached enough.
enum class RowsEnd { MADE, STOPPED, NO_CELLS_LEFT, ENOUGH };

// Steps the living cells over the residues from run.at on (by Dir, up to
// bound), at most most_rows of them, while cells live and are left: each
// residue takes as many cells as the row had, and then columns(lo) gives
// the unit characters that the row's columns read from lo on. step makes
// the next row, carried and cut, from the row, as
// step_carry_and_cut_in_lanes does; the new row's buffer keeps room for
// past_row cells past it. Inlined into a loop of its own for each kind of
// lanes, which keeps the kernel's constants from row to row.
template <int Dir, class Rows, class Columns, class Step>
__attribute__((always_inline)) inline RowsEnd step_rows(Rows& rows, RowsRun& run, const char* bound, size_t most_rows,
                                                        Columns& columns, Step step, int32_t mismatch, int32_t indel,
                                                        int32_t low, int64_t enough, size_t past_row = PAST_ROW)
{
  for (size_t made = 0; made < most_rows; ++made, run.at += Dir) {
    if (rows.width == 0 || run.at == bound)
      return RowsEnd::STOPPED;
    run.cells_left -= static_cast<int64_t>(rows.width);
    if (run.cells_left < 0)
      return RowsEnd::NO_CELLS_LEFT;
    const std::pair<const char*, const char*> uv = columns(rows.lo, rows.width);
    // A residue N scores 0 against any unit character: as passed, or less.
    const char x = *run.at;
    const int32_t differ = x == 'N' ? 0 : mismatch;
    make_room(rows.row, rows.off + rows.width + PAST_ROW);
    make_room(rows.next, rows.width + 1 + past_row);
    const Carried c = step(rows.row.data() + rows.off, rows.next.data(), uv.first, uv.second, rows.width, x, differ,
                           indel, low);
    rows.row.swap(rows.next);
    rows.off = 0;
    ++rows.width;
    run.best = std::max<int64_t>(run.best, cut_to_living(rows, c, indel, low));
    run.living += rows.width;
    if (run.best >= enough)
      return RowsEnd::ENOUGH;
  }
  return RowsEnd::MADE;
}

// Plain rows: the residue step, then the carry and cut of the new row.
template <int Dir, class Rows, class Columns>
RowsEnd step_plain_rows(Rows& rows, RowsRun& run, const char* bound, size_t most_rows, Columns& columns,
                        int32_t mismatch, int32_t indel, int32_t low, int64_t enough)
{
  auto step = [](const int32_t* row, int32_t* next, const char* u, const char* v, size_t width, char x,
                 int32_t differ, int32_t gap, int32_t floor) {
    residue_step(row, next, u, v, width, x, differ, gap);
    return carry_and_cut(next, width + 1, gap, floor);
  };
  return step_rows<Dir>(rows, run, bound, most_rows, columns, step, mismatch, indel, low, enough);
}

#ifdef CARRY_IN_LANES
template <int Dir, class Rows, class Columns>
IN_LANES RowsEnd step_rows_in_lanes(Rows& rows, RowsRun& run, const char* bound, size_t most_rows, Columns& columns,
                                    int32_t mismatch, int32_t indel, int32_t low, int64_t enough)
{
  auto step = [](auto... a) IN_LANES { return step_carry_and_cut_in_lanes(a...); };
  return step_rows<Dir>(rows, run, bound, most_rows, columns, step, mismatch, indel, low, enough);
}
template <int Dir, class Rows, class Columns>
IN_HALF_VECTORS RowsEnd step_rows_in_half_vectors(Rows& rows, RowsRun& run, const char* bound, size_t most_rows,
                                                  Columns& columns, int32_t mismatch, int32_t indel, int32_t low,
                                                  int64_t enough)
{
  auto step = [](auto... a) IN_HALF_VECTORS { return step_carry_and_cut_in_half_vectors(a...); };
  // The carry's cells past the row, and the blocks they start and end in.
  const size_t past_row = carried_cells(low, enough, indel) + 2 * PAST_ROW;
  return step_rows<Dir>(rows, run, bound, most_rows, columns, step, mismatch, indel, low, enough, past_row);
}
#endif

// step_rows in the lanes the rows take: 32, 16, or plain rows.
template <int Dir, class Cell, class Rows, class Columns>
RowsEnd step_rows_in(int lanes, Rows& rows, RowsRun& run, const char* bound, size_t most_rows, Columns& columns,
                     int32_t mismatch, int32_t indel, int32_t low, int64_t enough)
{
  if constexpr (sizeof(Cell) == 4) {
    return step_plain_rows<Dir>(rows, run, bound, most_rows, columns, mismatch, indel, low, enough);
  } else {
#ifdef CARRY_IN_LANES
    return lanes == 32
               ? step_rows_in_lanes<Dir>(rows, run, bound, most_rows, columns, mismatch, indel, low, enough)
               : step_rows_in_half_vectors<Dir>(rows, run, bound, most_rows, columns, mismatch, indel, low, enough);
#else
    (void)lanes; // narrow rows need lanes
    return RowsEnd::STOPPED;
#endif
  }
}

// Two tables made side by side, a row of each in turn, until either ends
// (as step_rows with one row at a time, each table's seeds starting as
// stretch_best_score_in starts them): a row waits on the row before it,
// and the processor makes the other table's row meanwhile. Gives how each
// ended, MADE where it has not. (Measured in 16 lanes, against one table
// after the other: the run tables of units 60-200 over a diverged 64-mer
// array take 0.84x as long, those of units 16-500 over E. coli 0.83x.)
template <int DirA, int DirB, class A, class B, class Step>
__attribute__((always_inline)) inline std::pair<RowsEnd, RowsEnd> step_side_by_side(A& a, B& b, Step step,
                                                                                   int32_t mismatch, int32_t indel,
                                                                                   int32_t low, int64_t enough,
                                                                                   size_t past_row)
{
  for (;;) {
    a.start_seed();
    b.start_seed();
    const RowsEnd a_end = step_rows<DirA>(a.rows, a.run, a.bound, 1, a, step, mismatch, indel, low, enough, past_row);
    const RowsEnd b_end = step_rows<DirB>(b.rows, b.run, b.bound, 1, b, step, mismatch, indel, low, enough, past_row);
    ++a.i;
    ++b.i;
    if (a_end != RowsEnd::MADE || b_end != RowsEnd::MADE)
      return {a_end, b_end};
  }
}

#ifdef CARRY_IN_LANES
template <int DirA, int DirB, class A, class B>
IN_LANES std::pair<RowsEnd, RowsEnd> side_by_side_in_lanes(A& a, B& b, int32_t mismatch, int32_t indel, int32_t low,
                                                           int64_t enough)
{
  auto step = [](auto... x) IN_LANES { return step_carry_and_cut_in_lanes(x...); };
  return step_side_by_side<DirA, DirB>(a, b, step, mismatch, indel, low, enough, PAST_ROW);
}
template <int DirA, int DirB, class A, class B>
IN_HALF_VECTORS std::pair<RowsEnd, RowsEnd> side_by_side_in_half_vectors(A& a, B& b, int32_t mismatch, int32_t indel,
                                                                         int32_t low, int64_t enough)
{
  auto step = [](auto... x) IN_HALF_VECTORS { return step_carry_and_cut_in_half_vectors(x...); };
  return step_side_by_side<DirA, DirB>(a, b, step, mismatch, indel, low, enough,
                                       carried_cells(low, enough, indel) + 2 * PAST_ROW);
}
#endif

} // namespace

AlignmentBound::AlignmentBound(const char* first, const char* last, const Scoring& g, int most_lanes)
    : first(first), last(last), mismatch(g.mismatch), indel(g.indel), prefer_longer(g.prefer_longer),
      row_lanes(indel >= -NARROW_GAP && mismatch >= -NARROW_HOLDS ? lanes_for_rows(most_lanes) : 0)
{
}

bool AlignmentBound::narrow_cells_hold(int32_t low, int64_t enough) const
{
  return row_lanes > 0 && low >= -NARROW_HOLDS && enough <= NARROW_HOLDS;
}

template <int Dir>
int64_t AlignmentBound::best_score(const char* c, const char* p, const char* ub, const char* ue, const char* bound,
                                   int32_t start, int64_t floor, int64_t enough)
{
  if (start >= enough)
    return start;
  const int32_t low = static_cast<int32_t>(std::max<int64_t>(floor, DEAD)); // alive: above low
  return narrow_cells_hold(low, enough) ? best_score_in<Dir>(narrow, c, p, ub, ue, bound, start, low, enough)
                                        : best_score_in<Dir>(wide, c, p, ub, ue, bound, start, low, enough);
}

template <int Dir, class Cell>
int64_t AlignmentBound::best_score_in(Rows<Cell>& rows, const char* c, const char* p, const char* ub,
                                      const char* ue, const char* bound, int32_t start, int32_t low, int64_t enough)
{
  int64_t best = start;
  // The unit characters in the order the walk meets them, from p on; the
  // row's columns read them from column lo % L on, so the unit is repeated
  // as far as a row reaches.
  const size_t L = static_cast<size_t>(ue - ub);
  unit.clear();
  for (size_t j = 0; j < L; ++j, p = step_unit<Dir>(p, ub, ue))
    unit.push_back(*p);
  // Cells are (residues consumed, unit characters consumed). A row holds
  // the cells of one number of residues, columns [lo, lo + width).
  // Beyond this many cells the alignments live long: the unit repeats here,
  // and the extension itself is the quicker answer. Rows in lanes cost so
  // much less than the extension's look-ahead over the same residues that
  // even seeds whose alignments live for thousands of residues are better
  // turned away here (measured with rows of 16 lanes, against 128 cells per
  // unit character: with -U 200, 0.76x on a 200-kb array of a diverged
  // 64-mer, 0.85x on a 1-Mb one and 0.89x on an alpha-satellite-like one,
  // as quick on genome slices; no limit at all was no quicker).
  int64_t cells_left = cells_per_unit_character * static_cast<int64_t>(L) + 4096;
  // Unit characters left out before the first residue.
  start_row(rows, 0, start);
  best = std::max<int64_t>(best, close_row(rows, low));
  auto columns = [&](uint64_t lo, size_t width) {
    const size_t k0 = static_cast<size_t>(lo % L);
    while (unit.size() < k0 + width + PAST_ROW)
      unit.insert(unit.end(), unit.begin(), unit.begin() + static_cast<ptrdiff_t>(L));
    return std::make_pair<const char*, const char*>(unit.data() + k0, unit.data() + k0);
  };
  RowsRun run{c, best, cells_left, 0};
  const RowsEnd end =
      step_rows_in<Dir, Cell>(row_lanes, rows, run, bound, SIZE_MAX, columns, mismatch, indel, low, enough);
  living_cells += run.living;
  return end == RowsEnd::NO_CELLS_LEFT ? std::max(run.best, enough) : run.best;
}

template <class Cell>
void AlignmentBound::start_row(Rows<Cell>& rows, uint64_t column, int32_t score)
{
  make_room(rows.row, 1);
  rows.row[0] = static_cast<Cell>(score);
  rows.off = 0;
  rows.width = 1;
  rows.lo = column;
}

template <class Cell>
int32_t AlignmentBound::close_row(Rows<Cell>& rows, int32_t low)
{
  // A cell may also be reached from the one before it with a unit
  // character left out, also past the last one. A path may not pass
  // through a cell at the floor or below it; as a cell there only passes on
  // less, the cells are cut to the floor after the pass. The living
  // stretch is [a, e).
  // (Rows are closed only as a seed starts, with its one cell: cell by
  // cell.)
  const int32_t gap = indel;
  const Carried c = carry_and_cut(rows.row.data() + rows.off, rows.width, gap, low);
  return cut_to_living(rows, c, gap, low);
}

template <class Cell>
void AlignmentBound::raise_cell(Rows<Cell>& rows, size_t at, int32_t score, int32_t low)
{
  Cell* r = rows.row.data() + rows.off;
  if (r[at] >= score)
    return;
  r[at] = static_cast<Cell>(score);
  // The row is closed: each living cell's carry is already in the cells
  // after it, so only the raised cell's carry is new, and it goes on only
  // as far as it raises them.
  int32_t carry = score + indel;
  size_t j = at + 1;
  for (; j < rows.width && carry > low && r[j] < carry; ++j, carry += indel)
    r[j] = static_cast<Cell>(carry);
  if (j == rows.width)
    cut_to_living(rows, Carried{carry, DEAD, 0, rows.width}, indel, low);
}

template <int Dir>
int64_t AlignmentBound::stretch_best_score(const char* b0, uint32_t k, uint32_t u, int32_t start, int64_t floor,
                                           int64_t enough)
{
  const int32_t low = static_cast<int32_t>(std::max<int64_t>(floor, DEAD));
  if (start >= enough || start <= low)
    return start;
  return narrow_cells_hold(low, enough) ? stretch_best_score_in<Dir>(narrow, b0, k, u, start, low, enough)
                                        : stretch_best_score_in<Dir>(wide, b0, k, u, start, low, enough);
}

// One run's table of alignments, made row by row: in the walk's order, row
// i reads residue r[i] and column j unit character q[j]; seed t of the
// stretch starts in row t, column t. Forward, seed b0 + t reads residues
// from b0 + t + u on against the residues from b0 + t on; backward,
// residues from b0 + t - 1 down against those from b0 + t + u - 1 down.
// Past the first copy seed t reads at column j the residue q[j - c u],
// c = (j - t) / u the copies before; as k <= u, the seeds of a column read
// at most two residues, and the table scores a residue that matches either
// as a match: each seed's own alignments only score higher there.
template <int Dir, class Cell>
class AlignmentBound::StretchTable {
 public:
  StretchTable(AlignmentBound& bound, Rows<Cell>& rows, std::vector<char>& unit, std::vector<char>& other,
               const char* b0, uint32_t k, uint32_t u, int32_t start, int32_t low, int64_t enough)
      : rows(rows), run{Dir > 0 ? b0 + u : b0 + k - 2, start, static_cast<int64_t>(u) * (k + 4 * u) + 4096, 0},
        bound(Dir > 0 ? bound.last : bound.first - 1), owner(bound), unit(unit), other(other),
        q(Dir > 0 ? b0 : b0 + k - 2 + u), k(k), u(u), start(start), low(low), enough(enough)
  {
    unit.clear();
    other.clear();
    rows.width = 0;
  }

  // Before row i: while seeds start (i < k), the start of seed i in column
  // i, its cell and those to the left of the living ones made room for.
  __attribute__((always_inline)) void start_seed()
  {
    if (i < k)
      start_seed_now();
  }
  [[gnu::noinline]] void start_seed_now()
  {
    if (rows.width == 0) {
      owner.start_row(rows, i, start);
      owner.close_row(rows, low);
      return;
    }
    const Cell dead = dead_cell<Cell>();
    std::vector<Cell>& row = rows.row;
    std::vector<Cell>& next = rows.next;
    if (i < rows.lo) {
      const size_t more = static_cast<size_t>(rows.lo - i);
      make_room(next, more + rows.width);
      std::fill(next.begin(), next.begin() + static_cast<ptrdiff_t>(more), dead);
      std::copy(row.begin() + static_cast<ptrdiff_t>(rows.off),
                row.begin() + static_cast<ptrdiff_t>(rows.off + rows.width),
                next.begin() + static_cast<ptrdiff_t>(more));
      row.swap(next);
      rows.off = 0;
      rows.width += more;
      rows.lo = i;
    }
    if (i >= rows.lo + rows.width) {
      const size_t more = static_cast<size_t>(i - rows.lo) + 1 - rows.width;
      make_room(row, rows.off + rows.width + more);
      std::fill(row.begin() + static_cast<ptrdiff_t>(rows.off + rows.width),
                row.begin() + static_cast<ptrdiff_t>(rows.off + rows.width + more), dead);
      rows.width += more;
    }
    owner.raise_cell(rows, static_cast<size_t>(i - rows.lo), start, low);
  }

  // The rows to make before the next seed starts: one at a time while
  // seeds start (the rows live on till then), then all of them.
  size_t rows_before_seed() const { return i + 1 < k ? 1 : SIZE_MAX; }

  // The unit characters of columns [lo, lo + width), and of the column
  // after each, as step_rows reads them: made as far as the living cells
  // reach. Column j reads q[j - c u] with c = j / u for the seeds of most
  // copies before it and c = (j - min(k - 1, j)) / u for those of fewest,
  // the residues q[j] for j below u and k - 1 + u, then again those of
  // column j - u.
  std::pair<const char*, const char*> operator()(uint64_t lo, size_t width)
  {
    const size_t columns = lo + width + PAST_ROW, j = unit.size();
    if (j < columns) {
      // (By 64 or more at a time.)
      const size_t to = std::max(columns, j + 64);
      unit.resize(to);
      other.resize(to);
      repeated_columns<Dir>(unit.data(), j, to, u, u, q);
      repeated_columns<Dir>(other.data(), j, to, k - 1 + u, u, q);
    }
    return {unit.data() + lo, other.data() + lo};
  }

  // The best score, once the rows ended thus.
  int64_t result(RowsEnd end)
  {
    owner.living_cells += run.living;
    return end == RowsEnd::NO_CELLS_LEFT ? std::max(run.best, enough) : run.best;
  }

  Rows<Cell>& rows;
  RowsRun run;
  const char* const bound;
  uint64_t i = 0; // the next row

 private:
  AlignmentBound& owner;
  std::vector<char>& unit;
  std::vector<char>& other;
  const char* const q;
  const uint32_t k, u;
  const int32_t start, low;
  const int64_t enough;
};

template <int Dir, class Cell>
int64_t AlignmentBound::stretch_best_score_in(Rows<Cell>& rows, const char* b0, uint32_t k, uint32_t u,
                                              int32_t start, int32_t low, int64_t enough)
{
  StretchTable<Dir, Cell> table(*this, rows, unit, other, b0, k, u, start, low, enough);
  for (;; ++table.i) {
    table.start_seed();
    const RowsEnd end = step_rows_in<Dir, Cell>(row_lanes, rows, table.run, table.bound, table.rows_before_seed(),
                                                table, mismatch, indel, low, enough);
    if (end != RowsEnd::MADE)
      return table.result(end);
  }
}

namespace {

// Going backward, an extension starts from the best score it reached
// forward, below the threshold, and as the floor stays where it is, the
// best score reached backward from a start is at least that from any lower
// one. So where the forward gain is known to stay below the threshold, the
// way backward from that bound may already fall short without the forward
// one (quicker where the seeds' copies lie behind them); and once the
// forward way is known, the backward gain may not make up for it.
//
// The proof goes by steps, each the best score of one table from start,
// the first backward, then forward, then backward from there, until it
// settles that the seeds fall short or not.
enum class ProofStep { FIRST_BACKWARD, FORWARD, BACKWARD, SHORT, NOT_SHORT };
struct Proof {
  ProofStep step;
  int32_t start;
  bool settled() const { return step == ProofStep::SHORT || step == ProofStep::NOT_SHORT; }
};

Proof first_step(int32_t min_score, GainBounds most)
{
  if (most.forward < min_score)
    return {ProofStep::FIRST_BACKWARD, static_cast<int32_t>(most.forward)};
  return {ProofStep::FORWARD, 0};
}

// The step after one whose table reached best.
Proof next_step(Proof proof, int64_t best, int32_t min_score, GainBounds most)
{
  const Proof short_of_it{ProofStep::SHORT, 0}, not_short{ProofStep::NOT_SHORT, 0};
  switch (proof.step) {
  case ProofStep::FIRST_BACKWARD:
    return best < min_score ? short_of_it : Proof{ProofStep::FORWARD, 0};
  case ProofStep::FORWARD:
    if (best >= min_score)
      return not_short;
    if (best + most.backward < min_score)
      return short_of_it;
    return {ProofStep::BACKWARD, static_cast<int32_t>(best)};
  default:
    return best < min_score ? short_of_it : not_short;
  }
}

template <typename Forward, typename Backward>
bool falls_short_both_ways(int32_t min_score, GainBounds most, Forward forward_best, Backward backward_best)
{
  Proof proof = first_step(min_score, most);
  while (!proof.settled())
    proof = next_step(proof, proof.step == ProofStep::FORWARD ? forward_best() : backward_best(proof.start),
                      min_score, most);
  return proof.step == ProofStep::SHORT;
}

} // namespace

bool AlignmentBound::stretch_falls_short(const char* b0, uint32_t k, uint32_t u, int32_t min_score, GainBounds most)
{
  const int64_t floor = -static_cast<int64_t>(u) - prefer_longer;
  return falls_short_both_ways(
      min_score, most, [&] { return stretch_best_score<1>(b0, k, u, 0, floor, min_score); },
      [&](int32_t start) { return stretch_best_score<-1>(b0, k, u, start, floor, min_score); });
}

// The proofs of two stretches, each by the steps of falls_short_both_ways,
// with their tables made side by side while both have one.
class AlignmentBound::TwoProofs {
 public:
  TwoProofs(AlignmentBound& bound, const char* const b0[2], const uint32_t k[2], uint32_t u, int32_t min_score,
            const GainBounds most[2], int32_t low)
      : bound(bound), u(u), min_score(min_score), low(low)
  {
    for (int p = 0; p < 2; ++p) {
      this->b0[p] = b0[p];
      this->k[p] = k[p];
      this->most[p] = most[p];
      proof[p] = first_step(min_score, most[p]);
      open(p);
    }
  }

  void run(bool verdicts[2])
  {
    while (!proof[0].settled() || !proof[1].settled()) {
      if (!proof[0].settled() && !proof[1].settled()) {
        const std::pair<RowsEnd, RowsEnd> ends =
            forward[0] ? (forward[1] ? side_by_side<1, 1>(*forward[0], *forward[1])
                                     : side_by_side<1, -1>(*forward[0], *backward[1]))
                       : (forward[1] ? side_by_side<-1, 1>(*backward[0], *forward[1])
                                     : side_by_side<-1, -1>(*backward[0], *backward[1]));
        if (ends.first != RowsEnd::MADE)
          ended(0, ends.first);
        if (ends.second != RowsEnd::MADE)
          ended(1, ends.second);
      } else {
        const int p = proof[0].settled() ? 1 : 0;
        ended(p, forward[p] ? alone<1>(*forward[p]) : alone<-1>(*backward[p]));
      }
    }
    verdicts[0] = proof[0].step == ProofStep::SHORT;
    verdicts[1] = proof[1].step == ProofStep::SHORT;
  }

 private:
  template <int Dir>
  using Table = StretchTable<Dir, int16_t>;

  // Makes the table of proof p's step; steps that need no table
  // (stretch_best_score) are taken at once.
  void open(int p)
  {
    for (; !proof[p].settled(); proof[p] = next_step(proof[p], proof[p].start, min_score, most[p])) {
      if (proof[p].start >= min_score || proof[p].start <= low)
        continue;
      if (proof[p].step == ProofStep::FORWARD)
        make<1>(forward[p], p);
      else
        make<-1>(backward[p], p);
      return;
    }
  }
  template <int Dir>
  void make(std::optional<Table<Dir>>& table, int p)
  {
    if (p == 0)
      table.emplace(bound, bound.narrow, bound.unit, bound.other, b0[p], k[p], u, proof[p].start, low, min_score);
    else
      table.emplace(bound, bound.beside.rows, bound.beside.unit, bound.beside.other, b0[p], k[p], u,
                    proof[p].start, low, min_score);
  }
  // Proof p's table ended thus: the proof goes on from its best score.
  void ended(int p, RowsEnd end)
  {
    int64_t best;
    if (forward[p]) {
      best = forward[p]->result(end);
      forward[p].reset();
    } else {
      best = backward[p]->result(end);
      backward[p].reset();
    }
    proof[p] = next_step(proof[p], best, min_score, most[p]);
    open(p);
  }

  template <int DirA, int DirB>
  std::pair<RowsEnd, RowsEnd> side_by_side(Table<DirA>& a, Table<DirB>& b)
  {
#ifdef CARRY_IN_LANES
    return bound.row_lanes == 32
               ? side_by_side_in_lanes<DirA, DirB>(a, b, bound.mismatch, bound.indel, low, min_score)
               : side_by_side_in_half_vectors<DirA, DirB>(a, b, bound.mismatch, bound.indel, low, min_score);
#else
    (void)a;
    (void)b;
    return {RowsEnd::STOPPED, RowsEnd::STOPPED}; // narrow rows need lanes
#endif
  }
  template <int Dir>
  RowsEnd alone(Table<Dir>& table)
  {
    for (;; ++table.i) {
      table.start_seed();
      const RowsEnd end = step_rows_in<Dir, int16_t>(bound.row_lanes, table.rows, table.run, table.bound,
                                                     table.rows_before_seed(), table, bound.mismatch, bound.indel,
                                                     low, min_score);
      if (end != RowsEnd::MADE)
        return end;
    }
  }

  AlignmentBound& bound;
  const uint32_t u;
  const int32_t min_score, low;
  const char* b0[2];
  uint32_t k[2];
  GainBounds most[2];
  Proof proof[2];
  std::optional<Table<1>> forward[2];
  std::optional<Table<-1>> backward[2];
};

void AlignmentBound::stretches_fall_short(const char* const b0[2], const uint32_t k[2], uint32_t u,
                                          int32_t min_score, const GainBounds most[2], bool verdicts[2])
{
  const int64_t floor = -static_cast<int64_t>(u) - prefer_longer;
  const int32_t low = static_cast<int32_t>(std::max<int64_t>(floor, DEAD));
  if (!narrow_cells_hold(low, min_score)) {
    for (int p = 0; p < 2; ++p)
      verdicts[p] = stretch_falls_short(b0[p], k[p], u, min_score, most[p]);
    return;
  }
  TwoProofs(*this, b0, k, u, min_score, most, low).run(verdicts);
}

bool AlignmentBound::falls_short(const char* b, uint32_t u, int32_t min_score, GainBounds most)
{
  const int64_t floor = -static_cast<int64_t>(u) - prefer_longer;
  const char* ub = b;
  const char* ue = b + u;
  return falls_short_both_ways(
      min_score, most, [&] { return best_score<1>(ue, ub, ub, ue, last, 0, floor, min_score); },
      [&](int32_t start) { return best_score<-1>(b - 1, ue - 1, ub, ue, first - 1, start, floor, min_score); });
}

// Tests call the bound of single seeds each way.
template int64_t AlignmentBound::best_score<1>(const char*, const char*, const char*, const char*, const char*, int32_t,
                                               int64_t, int64_t);
template int64_t AlignmentBound::best_score<-1>(const char*, const char*, const char*, const char*, const char*,
                                                int32_t, int64_t, int64_t);
