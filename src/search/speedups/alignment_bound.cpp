#include "search/speedups/alignment_bound.h"

#include "search/unit_walk.h"

#include <algorithm>
#include <limits>

namespace {

// The score of a cell that no alignment reaches above the floor.
constexpr int32_t DEAD = std::numeric_limits<int32_t>::min() / 2;

// One residue r against a row of width cells: to the next row, the cell of
// column j + 1 from the residue against unit character u[j] (scoring 1 or
// differ), or that of column j with the residue left out (indel). A column
// may stand for two unit characters, u[j] and v[j]: a residue that matches
// either scores 1.
void residue_step(const int32_t* row, int32_t* next, const char* u, const char* v, size_t width, char r,
                  int32_t differ, int32_t indel)
{
  next[0] = row[0] + indel;
  for (size_t j = 0; j < width; ++j)
    next[j + 1] = std::max(row[j + 1] + indel, row[j] + ((r == u[j]) | (r == v[j]) ? 1 : differ));
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
  uint64_t lo = 0;
  for (const char* x = c; x != bound && !row.empty(); x += Dir) {
    const size_t width = row.size();
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
    residue_step(row.data(), next.data(), u, u, width, r, differ, indel);
    row.swap(next);
    best = std::max<int64_t>(best, close_row(lo, low));
    if (best >= enough)
      return best;
  }
  return best;
}

int32_t AlignmentBound::close_row(uint64_t& lo, int32_t low)
{
  // One pass: a cell may also be reached from the one before it with a unit
  // character left out; a path may not pass through a cell at the floor or
  // below it; the living stretch is [a, e).
  const size_t n = row.size();
  int32_t* r = row.data();
  int32_t top = DEAD, carry = DEAD;
  size_t a = n, e = 0;
  for (size_t j = 0; j < n; ++j) {
    int32_t v = std::max(r[j], carry);
    if (v > low) {
      a = std::min(a, j);
      e = j + 1;
    } else {
      v = DEAD;
    }
    r[j] = v;
    top = std::max(top, v);
    carry = v + indel;
  }
  for (; carry > low; carry += indel)
    row.push_back(carry), e = row.size();
  if (e == 0) {
    row.clear();
    return top;
  }
  row.erase(row.begin() + static_cast<ptrdiff_t>(e), row.end());
  row.erase(row.begin(), row.begin() + static_cast<ptrdiff_t>(a));
  lo += a;
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
  row.clear();
  uint64_t lo = 0;
  for (uint64_t i = 0;; ++i, r += Dir) {
    if (i < k) {
      // The start of seed i, in column i.
      if (row.empty())
        lo = i;
      if (i < lo)
        row.insert(row.begin(), lo - i, DEAD), lo = i;
      if (i >= lo + row.size())
        row.resize(i - lo + 1, DEAD);
      row[i - lo] = std::max(row[i - lo], start);
      close_row(lo, low);
    }
    if (row.empty() && i + 1 >= k)
      return best;
    if (r == bound)
      return best;
    const size_t width = row.size();
    cells_left -= static_cast<int64_t>(width);
    if (cells_left < 0)
      return std::max(best, enough);
    const char x = *r;
    const int32_t differ = x == 'N' ? 0 : mismatch;
    row.push_back(DEAD);
    next.resize(width + 1);
    make_columns(lo + width);
    residue_step(row.data(), next.data(), unit.data() + lo, other.data() + lo, width, x, differ, indel);
    row.swap(next);
    best = std::max<int64_t>(best, close_row(lo, low));
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
