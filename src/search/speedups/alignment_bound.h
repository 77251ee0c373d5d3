#ifndef SEARCH_SPEEDUPS_ALIGNMENT_BOUND_H
#define SEARCH_SPEEDUPS_ALIGNMENT_BOUND_H

#include "search/record_search.h"

#include <cstdint>
#include <vector>

// What the extensions of some seeds gain at most each way, known from
// elsewhere (SelfAlignmentBound::most_gained): forward, and backward from
// any score below the threshold that they reached forward, each as far as
// the threshold. Unbounded unless given.
struct GainBounds {
  static constexpr int64_t UNBOUNDED = INT32_MAX;
  int64_t forward = UNBOUNDED, backward = UNBOUNDED;
};

// The second test of a seed that the seed filter lets through: the highest
// score that any alignment of the residues beside the seed with the endless
// repetition of its unit can reach, each way. The extension commits one such
// alignment, and a step only where the score stays above the prune floor, so
// the highest score of the alignments whose score never falls to the floor
// bounds what it can reach. Its look-ahead depth and the exact phase, which
// takes every match, only narrow the alignments it may take.
//
// With long units the floor lies deep, so the extension of a seed in
// random sequence walks and looks ahead for a long time before it gives up;
// the alignments that stay above the floor die out after a few dozen
// residues there, and this test costs a small part of that walk.
class AlignmentBound {
 public:
  // most_lanes: where the processor has them, rows are made in vectors of
  // up to this many lanes, 32 or 16 (tests choose fewer, or none, to
  // compare).
  AlignmentBound(const char* first, const char* last, const Scoring& g, int most_lanes = 32);

  // The lanes of the vectors rows are made in where the scores fit cells of
  // 16 bits; 0 for plain rows.
  int lanes() const { return row_lanes; }

  // Whether the seed [b, b + u) is sure to reach a score below min_score;
  // most: what its extension gains at most each way.
  bool falls_short(const char* b, uint32_t u, int32_t min_score, GainBounds most = {});

  // Whether each of the seeds [b, b + u) with b in [b0, b0 + k) is sure to
  // reach a score below min_score; k <= u, and the last seed's unit ends
  // before the record's last residue. The alignments of the seeds compare
  // residues with residues of the record, shared by the seeds of a stretch:
  // one table of cells serves them all. most: what the extension of each
  // of them gains at most each way.
  bool stretch_falls_short(const char* b0, uint32_t k, uint32_t u, int32_t min_score, GainBounds most = {});

  // The same for two stretches [b0[p], b0[p] + k[p]) of seeds of one unit
  // length at once, most[p] what their extensions gain at most: where the
  // rows take lanes, the tables of the two are made side by side, which
  // costs less than one after the other.
  void stretches_fall_short(const char* const b0[2], const uint32_t k[2], uint32_t u, int32_t min_score,
                            const GainBounds most[2], bool verdicts[2]);

  // The highest score of the alignments of the residues from cursor c on
  // (moving by Dir, up to bound) with the unit [ub, ue) repeated from unit
  // position p, starting at score start, whose score after every residue
  // and every unit character stays above floor. Gives up at enough, or
  // when the alignments live so long that the answer would cost more than
  // the extension: then the result is at least enough.
  template <int Dir>
  int64_t best_score(const char* c, const char* p, const char* ub, const char* ue, const char* bound, int32_t start,
                     int64_t floor, int64_t enough);

  // The living cells of the rows made so far, which rows in lanes and plain
  // rows must keep alike.
  uint64_t living_cells = 0;

  // How many cells per unit character a seed's rows may take before the
  // extension is left to decide (see best_score_in); tests that compare
  // whole tables take fewer.
  int64_t cells_per_unit_character = 32768;

 private:
  // The scores of a row of cells, by unit characters consumed, as Cell: the
  // living ones are row[off, off + width), of columns [lo, lo + width);
  // next is the room for the row after it.
  template <class Cell>
  struct Rows {
    std::vector<Cell> row, next;
    size_t off = 0, width = 0;
    uint64_t lo = 0;
  };

  // Whether cells of 16 bits hold every score between the floor low and
  // enough.
  bool narrow_cells_hold(int32_t low, int64_t enough) const;
  template <int Dir, class Cell>
  int64_t best_score_in(Rows<Cell>& rows, const char* c, const char* p, const char* ub, const char* ue,
                        const char* bound, int32_t start, int32_t low, int64_t enough);
  template <int Dir>
  int64_t stretch_best_score(const char* b0, uint32_t k, uint32_t u, int32_t start, int64_t floor, int64_t enough);
  template <int Dir, class Cell>
  class StretchTable;
  class TwoProofs;
  template <int Dir, class Cell>
  int64_t stretch_best_score_in(Rows<Cell>& rows, const char* b0, uint32_t k, uint32_t u, int32_t start,
                                int32_t low, int64_t enough);
  // Starts a row with the one cell of this column.
  template <class Cell>
  static void start_row(Rows<Cell>& rows, uint64_t column, int32_t score);
  // Unit characters left out: each cell of the row from the second on may be
  // reached from the one before it; then the row is cut to its living
  // stretch of columns, whose best score it returns.
  template <class Cell>
  int32_t close_row(Rows<Cell>& rows, int32_t low);
  // Raises cell at of a closed row to score, with what it carries on to the
  // cells after it, as close_row would.
  template <class Cell>
  void raise_cell(Rows<Cell>& rows, size_t at, int32_t score, int32_t low);

  const char* first;
  const char* last;
  int32_t mismatch, indel;
  int64_t prefer_longer;
  // Rows in this many lanes of 16 bits where the scores fit them, else
  // plain rows.
  int row_lanes;
  Rows<int32_t> wide;
  Rows<int16_t> narrow;
  std::vector<char> unit, other;
  // The narrow rows and columns of the second of two run tables made side
  // by side.
  struct {
    Rows<int16_t> rows;
    std::vector<char> unit, other;
  } beside;
};

#endif
