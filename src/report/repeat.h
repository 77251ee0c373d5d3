#ifndef REPORT_REPEAT_H
#define REPORT_REPEAT_H

#include "sequence/fasta_record.h"
#include "sequence/fastvector.h"
#include "settings/settings.h"

#include <cstdint>
#include <cstdio>
#include <list>
#include <mutex>

// One deviation of a repeat from the perfect repetition of its unit.
// For a deletion, pos is the residue before which the unit character is missing.
struct missense_entry {
  const char* pos;
  char kind; // 'M' mismatch, 'I' insertion, 'D' deletion
};

// One tandem repeat. All positions point into the residue buffer of the
// record being searched; the unit is the stretch the repeat was seeded from,
// never a copy. Ranges are half-open.
class Repeat {
 public:
  const char* sat_begin;
  const char* sat_end;
  // The unit character that the next residue to the right (at sat_end) would
  // have to match: the repeat's phase within its unit on that side.
  const char* unit_phase_right;
  // The unit character that the residue at sat_begin - 1 would have to match.
  const char* unit_phase_left;
  const char* unit_begin;
  const char* unit_end;
  int32_t score;
  uint32_t num_mismatches;
  uint32_t num_insertions;
  uint32_t num_deletions;
  uint32_t num_Ns;
  fastvector<missense_entry> missense_list;
  // A long missense list is dropped once the search has used it and made
  // again from the seed for the report (see RecordSearch), so that the
  // many repeats found over a long satellite array do not each hold one.
  bool missense_dropped = false;

  // A one-unit repeat whose unit is [begin, end), score and counts zero.
  void init(const char* begin, const char* end)
  {
    missense_dropped = false;
    sat_begin = unit_begin = unit_phase_right = begin;
    sat_end = unit_end = end;
    unit_phase_left = end - 1;
    score = 0;
    num_mismatches = num_insertions = num_deletions = num_Ns = 0;
    missense_list.clear();
  }

  // Drops a missense list that is longer than a short repeat's would be,
  // and gives back the room that an extension left beyond a short one.
  static constexpr uint32_t SHORT_LIST = 64;
  void drop_long_missense_list()
  {
    if (num_edits() > SHORT_LIST) {
      missense_list.release();
      missense_dropped = true;
    } else if (missense_list.capacity() > SHORT_LIST) {
      missense_list.shrink_to_fit();
    }
  }

  // The number of entries of a whole missense list.
  uint32_t num_edits() const { return num_mismatches + num_insertions + num_deletions; }
  uint32_t length() const { return static_cast<uint32_t>(sat_end - sat_begin); }
  uint32_t unit_length() const { return static_cast<uint32_t>(unit_end - unit_begin); }
  // The length measured along the unit: "BP" in the native output.
  uint32_t normalized_length() const { return length() - num_insertions + num_deletions; }
  // Percentage of positions that agree with the unit; N's count by
  // N_mode: 0 as mismatches, 1 not at all, 2 as matches.
  float perfection(int N_mode) const;

  struct lessThan_missense {
    bool operator()(const missense_entry& a, const missense_entry& b) const
    {
      if (a.pos != b.pos)
        return a.pos < b.pos;
      return static_cast<signed char>(a.kind) < static_cast<signed char>(b.kind);
    }
  };

  void print_repeat_name(FILE* out) const;
  // Writes one entry in the chosen output format, or nothing when the repeat
  // is outside the perfection range or its unit repeats a shorter unit.
  void report_sat(FILE* out, FastaRecord& seq, unsigned int& gap_position_counter, const Settings& settings);
};

bool lessThan_sat(const Repeat* a, const Repeat* b);

// The pool of free records. Last in, first out: get_new takes the record
// returned last, so recycled records stay warm in the cache. Searches on
// several threads share it; records are taken only for accepted repeats.
class RepeatPool {
 public:
  RepeatPool() = default;
  RepeatPool(const RepeatPool&) = delete;
  RepeatPool& operator=(const RepeatPool&) = delete;
  ~RepeatPool();

  Repeat* get_new(const char* begin, const char* end);
  // A record back in the pool keeps no more list room than a short repeat
  // needs, so that spares of long arrays do not pile up.
  void push_back(Repeat* s)
  {
    if (s->missense_list.capacity() > 64)
      s->missense_list.release();
    std::lock_guard<std::mutex> hold(lock);
    free_sats.push_back(s);
  }
  // Moves all records of a list to the back of the pool, in list order.
  void take_all(std::list<Repeat*>& sats)
  {
    std::lock_guard<std::mutex> hold(lock);
    free_sats.splice(free_sats.end(), sats);
  }

  std::list<Repeat*> free_sats;
  std::mutex lock;
};

extern RepeatPool repeat_pool;

// A result list. Its records go back to the pool when a filter removes them
// or the list is destroyed.
class RepeatList {
 public:
  explicit RepeatList(RepeatPool& pool) : pool(&pool) {}
  RepeatList(const RepeatList&) = delete;
  RepeatList& operator=(const RepeatList&) = delete;
  ~RepeatList() { pool->take_all(sats); }

  // Hands the record at it back to the pool; returns the next position.
  std::list<Repeat*>::iterator remove(std::list<Repeat*>::iterator it)
  {
    pool->push_back(*it);
    return sats.erase(it);
  }

  std::list<Repeat*> sats;
  RepeatPool* pool;
};

#endif
