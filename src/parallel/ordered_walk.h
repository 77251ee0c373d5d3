#ifndef PARALLEL_ORDERED_WALK_H
#define PARALLEL_ORDERED_WALK_H

#include "parallel/thread_pool.h"
#include "search/complete_search.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Walks the seeds [0, seeds) of a pass in order on this thread while the
// pool's workers try stretches of seeds ahead of the walk, each on its own
// copy of the marks. Where a copy turns out right, the walk takes the
// outcomes found ahead; elsewhere it tries the seeds itself. So the walk
// sees what the walk alone would see. False, having walked nothing, when
// the pass is too short for it to pay.
bool walk_with_workers(SeedPass& pass, ThreadPool& pool, size_t seeds);

// Where the chunks of seeds [alone, seeds) that workers try end, in order:
// each at most size seeds long and, where the record's alignment with
// itself lets only the seeds of may_reach through, holding at most an
// equal share of those for 8 chunks per thread.
std::vector<size_t> chunk_ends(size_t alone, size_t seeds, size_t size, unsigned int threads,
                               const std::vector<uint32_t>* may_reach);

#endif
