#ifndef PARALLEL_BATCHES_H
#define PARALLEL_BATCHES_H

#include "parallel/thread_pool.h"

#include <atomic>
#include <cstddef>
#include <utility>

// Hands tasks to the pool as they come, with a bounded number waiting for a
// thread; without a pool of several threads each runs at once on this
// thread (thread 0). Each task must only touch what is its own.
class Batches {
 public:
  explicit Batches(ThreadPool* pool) : pool(pool && pool->size() > 1 ? pool : nullptr) {}

  void run(ThreadPool::Task task)
  {
    if (!pool) {
      task(0);
      return;
    }
    ++outstanding;
    pool->submit(std::move(task), [this] { --outstanding; });
    const size_t limit = 4 * pool->size();
    pool->help_until([&] { return outstanding <= limit; });
  }

  // Waits until every task has run.
  void finish()
  {
    if (pool)
      pool->help_until([&] { return outstanding == 0; });
  }

 private:
  ThreadPool* const pool;
  std::atomic<size_t> outstanding{0};
};

#endif
