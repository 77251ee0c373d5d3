#ifndef SEARCH_RECORD_SEARCH_H
#define SEARCH_RECORD_SEARCH_H

#include "report/repeat.h"
#include "search/search_marks.h"
#include "parallel/thread_pool.h"
#include "search/speedups/walked_paths.h"
#include "sequence/fasta_record.h"

#include <cstdint>
#include <cstdio>
#include <functional>
#include <list>
#include <vector>

// Searches one sequence. Built per record by the run driver, which runs one
// search, the filters and the report on it and then destroys it; its result
// records go back to the pool.
class RecordSearch {
 public:
  RecordSearch(unsigned int seq_number, FastaRecord& seq);
  ~RecordSearch();
  RecordSearch(const RecordSearch&) = delete;
  RecordSearch& operator=(const RecordSearch&) = delete;

  void exact_search();
  void find_exact_repeats(const std::function<bool(Repeat*)>& take);
  void search_exact_and_extend_to_imperfect_repeats();
  void complete_imperfect_search(FILE* unused);
  void unit_len_1_complete_imperfect_search(SearchMarks& marks, std::list<Repeat*>& result);
  void one_unit_len_complete_imperfect_search(unsigned int u, SearchMarks& marks, std::list<Repeat*>& result);

  // Extend a record up to bound. With followed given, the edits that come
  // from walked paths (see walked_paths.h) are listed there by reference
  // instead of in the record's list.
  void extend_imperfect_forward(Repeat& sat, const char* bound, std::vector<FollowedEdits>* followed = nullptr);
  void extend_imperfect_backward(Repeat& sat, const char* bound, std::vector<FollowedEdits>* followed = nullptr);
  int32_t extend_imperfect_forward_leap_ahead(const char* pos, const char* unit_pos, const char* unit_begin,
                                              const char* unit_end, int32_t score, int32_t unit_length,
                                              uint8_t depth, const char* bound, int32_t best);
  int32_t extend_imperfect_backward_leap_ahead(const char* pos, const char* unit_pos, const char* unit_begin,
                                               const char* unit_end, int32_t score, int32_t unit_length,
                                               uint8_t depth, const char* bound, int32_t best);

  void remove_hidden(RepeatList& sats);
  void filter_perfection(RepeatList& sats);
  // Makes the dropped missense lists of the records again, from their seeds.
  void restore_missense_lists(RepeatList& sats);

  unsigned int seq_number;
  FastaRecord& seq;
  RepeatList exact_sats;
  RepeatList imperfect_sats;
  // Threads that may take part in this search (none: the calling thread
  // alone). The results are the same either way.
  ThreadPool* workers = nullptr;
  // Whether the search writes its messages and timed progress lines; a
  // search on a worker thread leaves that to the run driver.
  bool console = true;
  // Tells the searches of different records apart, for what the extension
  // remembers between seeds of one search (see walked_paths.h).
  const uint64_t search_id;

  // Minimum score and length per unit length, built once per process from
  // the settings. The _user pair holds what the user asked for; the _intern
  // pair the looser thresholds for seeds of the exact-then-extend mode.
  static int32_t* minScores_user;
  static int32_t* minLengths_user;
  static int32_t* minScores_intern;
  static int32_t* minLengths_intern;
  // The active pair, which every search tests against. Each thread has its
  // own, so that searches of several records can run at once.
  static inline thread_local int32_t* minScores = nullptr;
  static inline thread_local int32_t* minLengths = nullptr;

  // Whether the tables already cover a record of this many residues; when
  // not, the next controller extends them, which no search may overlap.
  static bool tables_cover(size_t residues);

  // Frees the tables so that the next controller builds them anew from the
  // settings then in force; for harnesses that run Zerlan several times in
  // one process. The program itself keeps them until it ends.
  static void release_tables();

  bool passes_active_thresholds(const Repeat& sat) const
  {
    const uint32_t k = sat.unit_length();
    return sat.score >= minScores[k] && static_cast<int32_t>(sat.normalized_length()) >= minLengths[k];
  }

  // A timed progress line, when one is due, at every 256th seed.
  void progress(size_t offset, unsigned int unit_length) const;
};

// Drops trailing and then leading N's of an extended repeat, moving the phase
// pointers along; the score is unchanged because N's score 0.
void trim_Ns(Repeat& sat);
// Extends a record both ways over residues that repeat its unit exactly.
void extend_exact(Repeat& sat, const char* begin, const char* end);

#endif
