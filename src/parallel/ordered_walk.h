#ifndef PARALLEL_ORDERED_WALK_H
#define PARALLEL_ORDERED_WALK_H

#include "parallel/thread_pool.h"
#include "search/complete_search.h"

#include <cstddef>

// Walks the seeds [0, seeds) of a pass in order on this thread while the
// pool's workers try stretches of seeds ahead of the walk, each on its own
// copy of the marks. Where a copy turns out right, the walk takes the
// outcomes found ahead; elsewhere it tries the seeds itself. So the walk
// sees what the walk alone would see. False, having walked nothing, when
// the pass is too short for it to pay.
bool walk_with_workers(SeedPass& pass, ThreadPool& pool, size_t seeds);

#endif
