#ifndef SEARCH_SPEEDUPS_SELF_ALIGNMENT_BOUND_H
#define SEARCH_SPEEDUPS_SELF_ALIGNMENT_BOUND_H

#include "search/record_search.h"
#include "search/speedups/alignment_bound.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class ThreadPool;

// The seeds of a range of unit lengths that may reach their threshold,
// found for a whole record at once from the record's alignment with itself
// at lags near the unit length; every other seed is sure to fall short.
// Its cost grows with the width of the range of lags, not with the number
// of unit lengths times their length, as the tests of single seeds do.
//
// Why it holds. The extension of the seed [b, b + u) aligns the residues
// beside it with copies of its unit. Pair each residue that it aligns with
// a unit character in one copy with the residue aligned with the same
// character in the copy before (the seed's own residue for the first copy).
// These pairs, with the residues left unpaired as gaps, align the record
// with itself from where residue b meets residue b + u on. Two residues
// that both match their unit character match each other, and each edit of
// the extension spoils at most two pairs. So, scoring a match (or an N) 2,
// a mismatch -(m - 1) and a gap -(g - 1) per residue where the extension
// scores 1, -m and -g, every prefix of the self-alignment scores at least
// twice the extension's score where the pairs reach, less 2 between pairs.
//
// Until the extension reaches its threshold S its scores stay above the
// prune floor -u - P and below S, so within the residues of one unit
// length it makes fewer than (2u + S + P) / g edits, and the lag of the
// self-alignment stays that close to u. Going backward it starts from the
// score it reached forward, at most S below S.
//
// The best prefix score of the self-alignments from each point, each never
// dipping more than F below its start, is bounded by a table of cells
// min(C, max(0, best move)) with C >= the target + F: a cell is at least
// min(target, C - F) for any such alignment that reaches the target.
class SelfAlignmentBound {
 public:
  // For the seeds of unit lengths [u1, u2] of the record [first, last),
  // with the thresholds min_score[u]; workers, if given, share the work,
  // by stretches of this many seeds (0: as many as suit the unit lengths),
  // each worker keeping at most kept_cells cells of its backward tables;
  // the tables' antidiagonals are kept in vectors of up to most_lanes lanes
  // (see cells_at_seeds), which tests choose to compare.
  SelfAlignmentBound(const char* first, const char* last, const Scoring& g, const int32_t* min_score, uint32_t u1,
                     uint32_t u2, ThreadPool* workers = nullptr, size_t stretch = 0,
                     size_t kept_cells = KEPT_CELLS, int most_lanes = 32);

  // The backward cells a worker keeps by default (8 MB): in sequence
  // without repeats it keeps hardly any.
  static constexpr size_t KEPT_CELLS = size_t(1) << 22;

  // Whether the bound holds for seeds of unit length u: not where the
  // threshold is below 1, or so high that the table's cells would overflow.
  bool bounds(uint32_t u) const { return covers(u) && bounded[u - u1]; }
  bool covers(uint32_t u) const { return u >= u1 && u <= u2; }

  // Whether the tables run in vectors of 512 bits on this processor.
  static bool in_512_bit_lanes();

  // The seeds of unit length u that may reach the threshold: the starts b
  // of ranges [b, e) as even entries, their ends as odd ones, in order.
  const std::vector<uint32_t>& may_reach(uint32_t u) const { return reaching[u - u1]; }

  // What the extensions of the seeds [b, b + k) of unit length u gain at
  // most each way, from the cells at their starts (unbounded where the
  // bound does not hold for u).
  GainBounds most_gained(size_t b, size_t k, uint32_t u) const;

  // Reads the ranges of one unit length; quickest with starts in increasing
  // order.
  class Reader {
   public:
    explicit Reader(const std::vector<uint32_t>* ranges) : ranges(ranges) {}
    bool falls_short(size_t b)
    {
      if (!ranges)
        return false;
      const std::vector<uint32_t>& r = *ranges;
      // (Seeds in any order: back to the first range where b lies before
      // the end of the range before at.)
      if (at > 0 && b < r[at - 1])
        at = 0;
      while (at < r.size() && r[at + 1] <= b)
        at += 2;
      return at == r.size() || b < r[at];
    }
    // The first seed from b on that the bound lets through; SIZE_MAX if none.
    size_t let_through_from(size_t b)
    {
      if (!falls_short(b))
        return b;
      return at == ranges->size() ? SIZE_MAX : (*ranges)[at];
    }

   private:
    const std::vector<uint32_t>* ranges;
    size_t at = 0;
  };

  // The cells at the starts of the seeds [b, b + u), by b, going forward
  // (Dir 1) or backward (-1), from a table run from the record's end:
  // each at least twice the score that the seed's extension gains that
  // way, while below the threshold. For tests: with most_lanes 32 or 16
  // narrow antidiagonals are kept in vectors of up to that many lanes,
  // where the processor has them, which must give the same cells; tops, if
  // given, gets the highest cell of lag u (and u + 1) of each antidiagonal.
  template <int Dir>
  std::vector<int32_t> cells_at_seeds(uint32_t u, int most_lanes = 0, std::vector<int32_t>* tops = nullptr) const;

 private:
  struct Band;
  // Runs the table of the residues in the order of the walk Dir (1 or -1)
  // for the starts (i, i + u), i in [i0, i1), u from lowest on, from margin
  // beyond i1, and hands each antidiagonal t to row(t, c, top): its cell of
  // lag 2h + p (p the parity of t) is c[h], top the highest of its cells of
  // lags from lowest to u2 (and one more of the other parity). Narrow
  // antidiagonals are kept in vectors of up to most_lanes lanes (32 or 16)
  // where the processor has them; 0 keeps them in memory. codes, if given,
  // is the room for the codes of the residues that the table pairs.
  struct Codes {
    std::vector<int16_t> js, is;
  };
  template <typename Row>
  void run_table(int dir, size_t i0, size_t i1, uint32_t lowest, const Band& band, size_t margin, Row row,
                 int most_lanes = 32, Codes* codes = nullptr) const;
  // Ranges of seeds by unit length, as in may_reach.
  using Ranges = std::vector<std::vector<uint32_t>>;
  // The highest cells at the seeds' starts, each way, by blocks of
  // TOPS_BLOCK antidiagonals t = 2b + u from block first on: in steps of
  // TOP_STEP, rounded up, or UNKNOWN_TOP where that would not fit a byte.
  static constexpr int64_t TOPS_BLOCK = 32;
  static constexpr int32_t TOP_STEP = 4;
  static constexpr uint8_t UNKNOWN_TOP = 255;
  struct Tops {
    size_t first = 0;
    std::vector<uint8_t> forward, backward;
  };
  // What the tables of one stretch found.
  struct Found {
    Ranges ranges;
    Tops tops;
  };
  // The stretches' length by the backward tables' cap.
  static constexpr size_t STRETCH_PER_CAP = 64;
  // The cells of a backward table kept for the forward one, by stride:
  // those of antidiagonal t at cells[k * stride], with k = t - t_lo where
  // all are kept, else k = slot[t - t_lo] (NOT_KEPT: none).
  static constexpr uint32_t NOT_KEPT = UINT32_MAX;
  struct BackwardCells {
    std::vector<int16_t> cells;
    std::vector<uint32_t> slot;
  };
  // A bit per unit length and seed of a stretch that may reach the
  // threshold, in a row of words per unit length: the set bits of row u lie
  // in its words [lo[u], hi[u]], and every other word is clear. (Where hardly
  // any seed is let through, the rows are neither cleared nor read whole.)
  struct SeedBits {
    std::vector<uint64_t> bits;
    std::vector<uint32_t> lo, hi;
  };
  // What a worker keeps from one stretch to the next, so that it neither
  // asks for memory nor clears it again: the room for the cells of its
  // backward tables, for the seeds' bits (all clear between stretches) and
  // for the residues' codes.
  struct WorkerRoom {
    BackwardCells backward;
    SeedBits may;
    Codes codes;
  };
  // The seeds of [b0, b1) that may reach the threshold.
  Found bound_stretch(size_t b0, size_t b1, const Band& band, WorkerRoom& worker) const;
  // The ranges of the seeds [b0, b1) whose bits are set, by unit length;
  // leaves every bit clear.
  Ranges ranges_of(SeedBits& may, size_t b0, size_t b1) const;
  // Appends what the next stretch found.
  void join(const Found& found);
  Band band_of(uint32_t v1, uint32_t v2) const;
  // The cap of the table for unit length u going Dir; 0 where the bound
  // does not hold.
  int32_t cap_of(uint32_t u, int dir) const;

  const char* const first;
  const size_t n, kept_cells;
  const int most_lanes;
  const uint32_t u1, u2;
  int32_t mismatch_cost, gap_cost; // m - 1, g - 1
  const int32_t* min_score;
  int64_t P, g;
  std::vector<char> bounded;
  Ranges reaching;
  Tops tops; // of the whole record
};

#endif
