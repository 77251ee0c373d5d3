#ifndef SEARCH_OVERLAP_FILTER_H
#define SEARCH_OVERLAP_FILTER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// A repeat as the overlap filter sees it: residues [begin, end) of its record.
struct Span {
  size_t begin, end;
  uint32_t unit_length;
  int32_t score;
};

// Of two mostly overlapping repeats only the higher-scoring one stays; at
// equal scores the earlier one in list order. A pair overlaps mostly when
// the part of either repeat outside the shared stretch is shorter than one
// of its own units. The list of n repeats (span_of(i) is the i-th) is
// sorted by begin, so the scan for partners of A stops at the first repeat
// that starts at or after A's end. Returns which repeats go. A list holds
// fewer than 2^32 repeats: each takes tens of bytes.
template <typename SpanOf>
std::vector<bool> mostly_hidden(size_t n, SpanOf span_of)
{
  const uint32_t NONE = UINT32_MAX;
  std::vector<bool> hidden(n);
  // The repeats still in the list, linked in list order.
  std::vector<uint32_t> next(n);
  for (size_t i = 0; i < n; ++i)
    next[i] = i + 1 < n ? static_cast<uint32_t>(i + 1) : NONE;
  uint32_t before_a = NONE; // the last repeat before a that stays
  uint32_t a = n ? 0 : NONE;
  while (a != NONE) {
    const Span A = span_of(a);
    const uint32_t A_length = static_cast<uint32_t>(A.end - A.begin);
    uint32_t before_b = a, b = next[a];
    bool a_goes = false;
    while (b != NONE) {
      const Span B = span_of(b);
      if (B.begin >= A.end)
        break;
      const uint32_t overlap = static_cast<uint32_t>(std::min(A.end, B.end) - B.begin);
      const bool mostly = A_length < A.unit_length + overlap ||
                          static_cast<uint32_t>(B.end - B.begin) < B.unit_length + overlap;
      if (!mostly) {
        before_b = b;
        b = next[b];
      } else if (A.score < B.score) {
        hidden[a] = a_goes = true;
        break;
      } else {
        hidden[b] = true;
        b = next[before_b] = next[b];
      }
    }
    if (a_goes) {
      a = next[a];
      if (before_a != NONE)
        next[before_a] = a;
    } else {
      before_a = a;
      a = next[a];
    }
  }
  return hidden;
}

#endif
