#ifndef SEARCH_SPEEDUPS_DEFERRED_MARKS_H
#define SEARCH_SPEEDUPS_DEFERRED_MARKS_H

#include "report/repeat.h"
#include "search/record_search.h"
#include "search/search_marks.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

// The marks of one pass of the search as its ordered walk sees them. An
// accepted repeat covers its residues, except where it deviates from its
// unit. Over a long satellite array, one repeat after another spans the
// whole array, and each would set the marks of all its residues anew,
// though the walk reads only those just ahead of it before the next repeat
// sets them again. So a repeat whose edits are listed in part by reference
// to walked paths sets its marks only when they are read, or when the pass
// ends: until then its residues are deferred to it, the last repeat that
// covered them. The paths are those of the walk's thread, which alone
// reads and sets these marks (with its scratch); other threads read the
// marks as they are, and can ask whether some are deferred.
class DeferredMarks {
 public:
  DeferredMarks(SearchMarks& marks, SearchScratch& scratch, uint64_t walks, const char* s)
      : marks(marks), scratch(scratch), walks(walks), s(s)
  {
  }

  // Held while the walk sets marks, or another thread reads them.
  std::mutex guard;

  // Whether residue i is free, and SearchMarks::window_is_free; only the
  // walk's thread may ask.
  bool is_free(ptrdiff_t i)
  {
    if (i < clean_begin || i >= clean_end)
      settle_around(i, i);
    return marks.is_free(i);
  }
  bool window_is_free(size_t b, size_t e)
  {
    if (static_cast<ptrdiff_t>(b) - 1 < clean_begin || static_cast<ptrdiff_t>(e) >= clean_end)
      settle_around(static_cast<ptrdiff_t>(b) - 1, static_cast<ptrdiff_t>(e));
    return marks.window_is_free(b, e);
  }
  // The marks of residues [lo, hi) as they are set, deferred or not.
  SearchMarks as_set(ptrdiff_t lo, ptrdiff_t hi) const { return SearchMarks(marks, lo, hi); }

  // Covers an accepted repeat, whose edits are in its list and, when
  // followed is not empty, also referred to there.
  void cover(const Repeat& sat, const std::vector<FollowedEdits>& followed);

  // Whether some residues of [lo, hi) are deferred.
  bool deferred_within(ptrdiff_t lo, ptrdiff_t hi) const;

  // Sets all deferred marks, as the next pass reads the marks directly.
  void settle_all();

 private:
  // A repeat to which residues are deferred: the places of its listed
  // edits, sorted, and the edits it refers to.
  struct Owner {
    std::vector<const char*> places;
    std::vector<FollowedEdits> followed;
  };
  struct Deferred {
    size_t end;
    std::shared_ptr<const Owner> owner;
  };
  // Sets the marks of the deferred residues in [b, e) and forgets them.
  void settle(size_t b, size_t e);
  // Settles the residues from first to last and a stretch beyond, and
  // notes the stretch around them that holds no deferred residue.
  [[gnu::noinline, gnu::cold]] void settle_around(ptrdiff_t first, ptrdiff_t last);
  // Forgets the deferred residues in [b, e), which a repeat covers anew.
  void drop(size_t b, size_t e);

  SearchMarks& marks;
  SearchScratch& scratch;
  const uint64_t walks; // the walked paths of the pass (walks_of_pass)
  const char* s;
  std::map<size_t, Deferred> deferred; // by first residue; none empty, none overlapping
  // A stretch without deferred residues.
  ptrdiff_t clean_begin = PTRDIFF_MIN, clean_end = PTRDIFF_MAX;
};

#endif
