#include "search/speedups/alignment_bound.h"

#include "search/unit_walk.h"

#include <algorithm>
#include <limits>

namespace {

// The score of a cell that no alignment reaches above the floor.
constexpr int32_t DEAD = std::numeric_limits<int32_t>::min() / 2;

// One residue r against a row of width cells: to the next row, the cell of
// column j + 1 from the residue against unit character u[j] (scoring 1 or
// differ), or that of column j with the residue left out (indel).
void residue_step(const int32_t* row, int32_t* next, const char* u, size_t width, char r, int32_t differ,
                  int32_t indel)
{
  next[0] = row[0] + indel;
  for (size_t j = 0; j < width; ++j)
    next[j + 1] = std::max(row[j + 1] + indel, row[j] + (r == u[j] ? 1 : differ));
}

} // namespace

AlignmentBound::AlignmentBound(const char* first, const char* last, const Scoring& g)
    : first(first), last(last), mismatch(g.mismatch), indel(g.indel), prefer_longer(g.prefer_longer)
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
  row.clear();
  for (int64_t s = start; s > floor; s += indel)
    row.push_back(static_cast<int32_t>(s)); // unit characters left out before the first residue
  size_t width = row.size();
  uint64_t lo = 0;
  for (const char* x = c; x != bound && width > 0; x += Dir) {
    cells_left -= static_cast<int64_t>(width);
    if (cells_left < 0)
      return std::max(best, enough);
    const size_t k0 = static_cast<size_t>(lo % L);
    while (unit.size() < k0 + width)
      unit.insert(unit.end(), unit.begin(), unit.begin() + static_cast<ptrdiff_t>(L));
    // A residue N scores 0 against any unit character: as passed, or less.
    const char r = *x;
    const int32_t differ = r == 'N' ? 0 : mismatch;
    const char* u = unit.data() + k0;
    row.push_back(DEAD);
    next.resize(width + 1);
    residue_step(row.data(), next.data(), u, width, r, differ, indel);
    // Unit characters left out after the residue, left to right.
    for (size_t j = 1; j <= width; ++j)
      next[j] = std::max(next[j], next[j - 1] + indel);
    for (int32_t s = next.back() + indel; s > low; s += indel)
      next.push_back(s);
    // The living stretch of columns; a path may not pass through a cell at
    // the floor or below it.
    size_t a = 0, e = next.size();
    while (a < e && next[a] <= low)
      ++a;
    while (e > a && next[e - 1] <= low)
      --e;
    int32_t top = DEAD;
    for (size_t j = a; j < e; ++j) {
      next[j] = next[j] > low ? next[j] : DEAD;
      top = std::max(top, next[j]);
    }
    best = std::max<int64_t>(best, top);
    row.assign(next.begin() + static_cast<ptrdiff_t>(a), next.begin() + static_cast<ptrdiff_t>(e));
    width = e - a;
    lo += a;
    if (best >= enough)
      return best;
  }
  return best;
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
