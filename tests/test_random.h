#ifndef TESTS_TEST_RANDOM_H
#define TESTS_TEST_RANDOM_H

#include <cstdint>

// The random numbers and residues of the tests' made-up sequences: the same
// on every machine, from the seed given.
struct TestRandom {
  uint64_t state;

  uint32_t next()
  {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<uint32_t>(state >> 33);
  }
  char base() { return "ACGT"[next() % 4]; }
};

#endif
