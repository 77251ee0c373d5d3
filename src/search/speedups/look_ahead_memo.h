#ifndef SEARCH_SPEEDUPS_LOOK_AHEAD_MEMO_H
#define SEARCH_SPEEDUPS_LOOK_AHEAD_MEMO_H

#include <cstddef>
#include <cstdint>
#include <vector>

// The look-ahead of one extension meets the same differing residue, at the
// same unit character and the same depth, along many paths: M then I and I
// then M lead to the same place, and so do the look-aheads of neighbouring
// decisions. Where a point's score lies so far above the prune bound that
// even its last edit allowed leaves it above, no option below the point is
// cut, and the best score reachable from it is its score plus a gain that
// depends only on the residue, the unit character and the depth. The memo
// keeps these gains for one extension (one unit, one direction, one bound),
// in a table of direct-mapped slots: a slot holds the latest point that
// fell into it, so a point found is always its own.
class LookAheadMemo {
 public:
  // Forgets the gains of the last extension.
  void start()
  {
    if (slots.empty() || ++generation == 256) {
      slots.assign(SLOTS, Slot{});
      generation = 1;
    }
  }

  // Whether the gain of point (at, phase, depth) is known; if so, gain is it.
  bool find(const char* at, uint32_t phase, uint32_t depth, int32_t& gain) const
  {
    const Slot& s = slots[slot_of(at, phase, depth)];
    if (s.at != at || s.tag != tag_of(phase, depth) || !fits(phase, depth))
      return false;
    gain = s.gain;
    return true;
  }

  void keep(const char* at, uint32_t phase, uint32_t depth, int32_t gain)
  {
    if (fits(phase, depth))
      slots[slot_of(at, phase, depth)] = {at, gain, tag_of(phase, depth)};
  }

 private:
  // A slot of 16 bytes: four to a cache line, none across two. Its tag
  // holds the unit character, the depth (points of longer units, or deeper
  // than a look-ahead goes, are not kept) and the extension's generation,
  // so that a slot of an earlier extension is never taken for one of this.
  struct Slot {
    const char* at = nullptr;
    int32_t gain = 0;
    uint32_t tag = 0; // generation 0: an empty slot
  };
  static_assert(sizeof(Slot) == 16, "four slots to a cache line");
  static bool fits(uint32_t phase, uint32_t depth) { return phase <= UINT16_MAX && depth <= UINT8_MAX; }
  uint32_t tag_of(uint32_t phase, uint32_t depth) const { return phase << 16 | depth << 8 | generation; }
  // The points of one decision lie within a few dozen residues; 4,096
  // slots hold those of the decisions nearby in 64 KB.
  static constexpr unsigned BITS = 12, SLOTS = 1u << BITS;

  static size_t slot_of(const char* at, uint32_t phase, uint32_t depth)
  {
    const uint64_t key = reinterpret_cast<uintptr_t>(at) * 0x9e3779b97f4a7c15ULL ^
                         (uint64_t(phase) << 8 | depth) * 0xc2b2ae3d27d4eb4fULL;
    return static_cast<size_t>(key >> (64 - BITS));
  }

  std::vector<Slot> slots;
  uint32_t generation = 0; // 1 to 255, in the tags' lowest byte
};

#endif
