#ifndef SEARCH_RECORD_SEARCH_H
#define SEARCH_RECORD_SEARCH_H

#include "report/repeat.h"
#include "search/speedups/look_ahead_memo.h"
#include "search/speedups/walked_paths.h"
#include "search/unit_walk.h"
#include "sequence/fasta_record.h"
#include "settings/settings.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

class SeedPass;
class ThreadPool;

// How a pass of the complete search walks its seeds with workers ahead of
// it (walk_with_workers in parallel/ordered_walk.h); false when it leaves
// the walk to the pass.
using WalkWithWorkers = bool (*)(SeedPass& pass, ThreadPool& pool, size_t seeds);

// The scoring that the extension, its look-ahead and the seed filter read,
// derived from the settings in this one place.
struct Scoring {
  explicit Scoring(const Settings& settings);

  int32_t mismatch, indel, prefer_longer; // prefer_longer (P) is 0 or 1
  bool reduction_limited;
  int64_t max_reduction; // R
  unsigned max_depth;    // edits the look-ahead may add
  uint32_t allowed_Ns;   // N's passed in a row
  bool pass_Ns;          // whether runs of N's are passed (with score 0) at all

  // The prune floor of a repeat of unit length L: -L - P.
  int64_t floor(uint32_t unit_length) const { return -static_cast<int64_t>(unit_length) - prefer_longer; }
  // Paths whose score falls to this bound or below are not explored:
  // max(best - R - P, floor). With the reduction unlimited only the floor
  // remains. 64 bits hold best - R for any R.
  int64_t prune_bound(int32_t best, int64_t floor) const
  {
    return reduction_limited ? std::max(static_cast<int64_t>(best) - max_reduction - prefer_longer, floor) : floor;
  }
};

// Minimum score and length per unit length.
struct ThresholdTable {
  const int32_t* score;
  const int32_t* length;

  bool passes(const Repeat& sat) const
  {
    const uint32_t k = sat.unit_length();
    return sat.score >= score[k] && static_cast<int32_t>(sat.normalized_length()) >= length[k];
  }
};

// The thresholds of a run: the user's, max(S, S_a + S_b * k) for the score
// and the same for the length, and the looser ones for the seeds of the
// exact-then-extend mode. They cover every unit length up to the maximum,
// except that an enormous maximum is only covered as far as a record can
// use it: a unit must be shorter than its record.
class Thresholds {
 public:
  explicit Thresholds(const Settings& settings);

  // Makes the tables cover a record of this many residues. The tables may
  // move, so no search may run meanwhile.
  void cover(size_t residues);
  bool covers(size_t residues) const;

  ThresholdTable user() const { return {scores_user.data(), lengths_user.data()}; }
  ThresholdTable seeds() const { return {scores_seeds.data(), lengths_seeds.data()}; }

 private:
  const Settings& settings;
  std::vector<int32_t> scores_user, lengths_user, scores_seeds, lengths_seeds;
};

// What every search of a run reads: the settings, the scoring derived from
// them and the thresholds.
struct SearchSetup {
  explicit SearchSetup(const Settings& settings) : settings(settings), scoring(settings), thresholds(settings) {}
  const Settings& settings;
  const Scoring scoring;
  Thresholds thresholds;
};

// How a search tells what it is doing; the console lines are written by
// whoever provides it.
class SearchProgress {
 public:
  virtual ~SearchProgress() = default;
  // A step of the search begins; text is the whole line.
  virtual void step(const char* text) = 0;
  // Seeds of this unit length are being tried; called at every 256th seed.
  virtual void at_unit_length(unsigned int unit_length) = 0;
};

// Seeds follow the walks of seeds of the same unit, so of the same pass:
// walked paths are kept for one search and unit length, and the next pass
// starts afresh. Nothing refers to a pass's paths once it has settled its
// marks and dropped its long lists, and memory stays that of one pass.
inline uint64_t walks_of_pass(uint64_t search_id, uint32_t unit_length)
{
  return search_id << 32 | unit_length;
}

// What one thread keeps from one extension to the next within a pass: the
// walked paths of each direction; and the room of one extension: its
// look-ahead's memo and its unit laid out in blocks.
struct SearchScratch {
  WalkedPaths forward, backward;
  LookAheadMemo look_ahead;
  UnitInBlocks unit;

  WalkedPaths& walked(int dir, uint64_t walks, const char* origin)
  {
    WalkedPaths& w = dir > 0 ? forward : backward;
    w.reset_for(walks, origin);
    return w;
  }

  // Calls edit(place, kind) for the edits that f refers to, of the paths of
  // a search of the record that begins at origin, whose place in a missense
  // list lies in [lo, hi).
  template <typename Edit>
  void followed_edits(uint64_t walks, const char* origin, const FollowedEdits& f, const char* lo, const char* hi,
                      Edit edit)
  {
    if (f.dir > 0)
      walked(1, walks, origin).for_each_edit_within<1>(f.path, f.from, f.to, lo, hi, [&edit](const char* r, char kind) {
        edit(listed_at<1>(r, kind), kind);
      });
    else
      walked(-1, walks, origin).for_each_edit_within<-1>(f.path, f.from, f.to, lo, hi, [&edit](const char* r, char kind) {
        edit(listed_at<-1>(r, kind), kind);
      });
  }
};

// Searches one sequence record (the search controller). Built per record
// by the record pipeline, which runs one search and the filters on it,
// reports the result list and then destroys it; its result records go back
// to the pool.
class RecordSearch {
 public:
  // With workers, threads of the pool take part in the search; the results
  // are the same either way. Without progress the search is quiet.
  RecordSearch(const SearchSetup& setup, unsigned int seq_number, FastaRecord& seq, ThreadPool* workers = nullptr,
               SearchProgress* progress = nullptr);
  RecordSearch(const RecordSearch&) = delete;
  RecordSearch& operator=(const RecordSearch&) = delete;

  // The search of the chosen mode and the filters; returns the list to report.
  RepeatList& search_and_filter();

  // The three search modes.
  void exact_search();
  void search_exact_and_extend_to_imperfect_repeats();
  void complete_imperfect_search();

  // The exact search proper: hands every repeat that passes the thresholds
  // in active to take, in the order found, and keeps the record for the
  // next window unless take keeps it.
  void find_exact_repeats(const ThresholdTable& active, const std::function<bool(Repeat*)>& take);

  // Extends a record up to bound with the scratch of the calling thread.
  // With by_reference given, the edits that come from walked paths (see
  // walked_paths.h) are listed there instead of one by one in the record's
  // list.
  void extend_imperfect_forward(Repeat& sat, const char* bound, SearchScratch& scratch,
                                EditsByReference* by_reference = nullptr) const;
  void extend_imperfect_backward(Repeat& sat, const char* bound, SearchScratch& scratch,
                                 EditsByReference* by_reference = nullptr) const;

  void remove_hidden(RepeatList& sats) const;
  void filter_perfection(RepeatList& sats) const;
  // Makes the dropped missense lists of the records again, from their seeds.
  void restore_missense_lists(RepeatList& sats);
  // Makes the record of the repeat seeded by the unit again, with its list.
  Repeat* make_again(const char* unit_begin, const char* unit_end);

  // Progress at every 256th seed.
  void progress_at(size_t offset, unsigned int unit_length) const
  {
    if ((offset & 0xff) == 0)
      progress_in(unit_length);
  }
  void progress_in(unsigned int unit_length) const
  {
    if (progress)
      progress->at_unit_length(unit_length);
  }

  const Settings& settings;
  const Scoring& scoring;
  const Thresholds& thresholds;
  unsigned int seq_number;
  FastaRecord& seq;
  RepeatList exact_sats;
  RepeatList imperfect_sats;
  ThreadPool* const workers;
  WalkWithWorkers walk_with_workers = nullptr;
  SearchProgress* const progress;
  // Tells the searches of different records apart, for what a thread's
  // scratch remembers between extensions (see walked_paths.h).
  const uint64_t search_id;
  // One per thread that takes part: this thread's first, then the workers'
  // by their number in the pool.
  std::vector<SearchScratch> scratch;
  // The record's first N (its length if none), once a pass has looked.
  size_t first_N = SIZE_MAX;
};

// Drops trailing and then leading N's of an extended repeat, moving the phase
// pointers along; the score is unchanged because N's score 0.
void trim_Ns(Repeat& sat);
// Extends a record both ways over residues that repeat its unit exactly.
void extend_exact(Repeat& sat, const char* begin, const char* end, const Scoring& scoring);

#endif
