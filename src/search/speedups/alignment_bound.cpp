#include "search/speedups/alignment_bound.h"

#include "search/unit_walk.h"

#include <algorithm>
#include <limits>

namespace {

// The score of a cell that no alignment reaches above the floor.
constexpr int32_t DEAD = std::numeric_limits<int32_t>::min() / 2;

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
  // The unit characters in the order the walk meets them, from p on.
  const uint32_t L = static_cast<uint32_t>(ue - ub);
  unit.resize(L);
  for (uint32_t j = 0; j < L; ++j, p = step_unit<Dir>(p, ub, ue))
    unit[j] = *p;
  const int32_t low = static_cast<int32_t>(std::max<int64_t>(floor, DEAD)); // alive: above low
  // Cells are (residues consumed, unit characters consumed). The row of one
  // number of residues holds the columns [lo, lo + width) around its living
  // cells, with one free slot at the end for the row after it.
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
    // A residue N scores 0 against any unit character: as passed, or less.
    const char r = *x;
    const int32_t differ = r == 'N' ? 0 : mismatch;
    // The residue against unit character lo + j leads to column lo + j + 1,
    // the residue left out stays in column lo + j: right to left, in place.
    row.resize(width + 1);
    row[width] = DEAD;
    uint32_t k = static_cast<uint32_t>((lo + width - 1) % L);
    for (size_t j = width; j-- > 0; k = k == 0 ? L - 1 : k - 1) {
      const int32_t s = row[j];
      row[j + 1] = std::max(row[j + 1] + indel, s + (r == unit[k] ? 1 : differ));
    }
    row[0] += indel;
    // Unit characters left out after the residue, left to right; then the
    // living stretch of columns is kept.
    for (size_t j = 1; j <= width; ++j)
      row[j] = std::max(row[j], row[j - 1] + indel);
    ++width;
    for (int32_t s = row[width - 1] + indel; s > low; s += indel, ++width)
      row.push_back(s);
    size_t a = 0;
    while (a < width && row[a] <= low)
      ++a;
    while (width > a && row[width - 1] <= low)
      --width;
    // A path may not pass through a cell at the floor or below it.
    for (size_t j = a; j < width; ++j) {
      if (row[j] <= low)
        row[j] = DEAD;
      best = std::max<int64_t>(best, row[j]);
    }
    if (a > 0) {
      std::copy(row.begin() + static_cast<ptrdiff_t>(a), row.begin() + static_cast<ptrdiff_t>(width), row.begin());
      width -= a;
      lo += a;
    }
    row.resize(width);
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
