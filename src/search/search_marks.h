#ifndef SEARCH_SEARCH_MARKS_H
#define SEARCH_SEARCH_MARKS_H

#include "sequence/fasta_record.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// One mark per residue: free, or covered by an accepted repeat. The
// searches do not seed inside covered stretches. A sentinel mark on each
// side stays free for ever, so the window test may look one residue beyond
// either end. The marks are bits (set: covered), residue i at bit i + 1.
class SearchMarks {
 public:
  explicit SearchMarks(const FastaRecord& seq) : words((static_cast<size_t>(seq.residues.size()) + 2 + 63) / 64) {}
  // A copy of the marks of the residues [lo, hi), lo >= -1, that answers
  // for those residues only.
  SearchMarks(const SearchMarks& all, ptrdiff_t lo, ptrdiff_t hi)
      : base(static_cast<size_t>(lo + 1) / 64 * 64),
        words(all.words.begin() + static_cast<ptrdiff_t>(base / 64),
              all.words.begin() + static_cast<ptrdiff_t>(std::min(static_cast<size_t>(hi) / 64 + 1, all.words.size())))
  {
  }

  void reset() { std::fill(words.begin(), words.end(), 0); }

  bool is_free(ptrdiff_t i) const
  {
    const size_t j = static_cast<size_t>(i + 1) - base;
    return !(words[j / 64] >> (j % 64) & 1);
  }

  // A window [b, e) of residue indices is worth seeding when its first
  // residue is free and it reaches free ground at its end, or when it starts
  // right after free ground and its last residue is free.
  bool window_is_free(size_t b, size_t e) const { return anchored(*this, b, e); }

  // The rule of window_is_free on any marks with is_free.
  template <typename Marks>
  static bool anchored(const Marks& marks, size_t b, size_t e)
  {
    const ptrdiff_t i = static_cast<ptrdiff_t>(b), j = static_cast<ptrdiff_t>(e);
    return (marks.is_free(i) && (marks.is_free(j - 1) || marks.is_free(j))) ||
           (marks.is_free(i - 1) && marks.is_free(j - 1));
  }

  void free_at(size_t i) { words[(i + 1 - base) / 64] &= ~(uint64_t(1) << ((i + 1 - base) % 64)); }
  // Covers the residues [b, e).
  void cover(size_t b, size_t e)
  {
    for (size_t j = b + 1 - base; j < e + 1 - base;) {
      const size_t bits = std::min<size_t>(64 - j % 64, e + 1 - base - j);
      words[j / 64] |= (bits == 64 ? ~uint64_t(0) : (uint64_t(1) << bits) - 1) << (j % 64);
      j += bits;
    }
  }

 private:
  size_t base = 0; // the bit of words[0]
  std::vector<uint64_t> words;
};

#endif
