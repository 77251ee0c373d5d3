#ifndef CANCHORSEQ_H
#define CANCHORSEQ_H

#include "sequence/CSequence_Mol.h"

#include <cstdint>
#include <cstring>
#include <memory>

// One mark per residue: 'a' free, ' ' covered by an accepted repeat. The
// searches do not seed inside covered stretches. A sentinel mark on each
// side stays free for ever, so the window test may look one residue beyond
// either end.
class CAnchorSeq {
 public:
  static constexpr char FREE = 'a';
  static constexpr char COVERED = ' ';

  explicit CAnchorSeq(const CSequence_Mol& seq)
      : seq_begin(seq.residues.data()), seq_length(seq.residues.size()),
        mark_buffer(new char[static_cast<size_t>(seq_length) + 3])
  {
    marks = mark_buffer.get() + 1;
    marks_end = marks + seq_length;
    reset();
    mark_buffer[static_cast<size_t>(seq_length) + 2] = 0;
  }

  void reset() { std::memset(mark_buffer.get(), FREE, static_cast<size_t>(seq_length) + 2); }

  // A window [b, e) of residue indices is worth seeding when its first
  // residue is free and it reaches free ground at its end, or when it starts
  // right after free ground and its last residue is free.
  bool window_is_free(size_t b, size_t e) const
  {
    const char* m = marks;
    return (m[b] == FREE && (m[e - 1] == FREE || m[e] == FREE)) ||
           (m[static_cast<ptrdiff_t>(b) - 1] == FREE && m[e - 1] == FREE);
  }

  void cover(size_t b, size_t e) { std::memset(marks + b, COVERED, e - b); }
  void free_at(size_t i) { marks[i] = FREE; }
  char mark(ptrdiff_t i) const { return marks[i]; }

  const char* seq_begin;
  uint32_t seq_length;
  std::unique_ptr<char[]> mark_buffer;
  char* marks;
  char* marks_end;
};

#endif
