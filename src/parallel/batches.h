#ifndef PARALLEL_BATCHES_H
#define PARALLEL_BATCHES_H

#include "parallel/thread_pool.h"

#include <cstddef>
#include <optional>
#include <utility>

// Hands tasks to the pool as they come, with a bounded number waiting for a
// thread; without a pool of several threads each runs at once on this
// thread (thread 0). Each task must only touch what is its own.
class Batches {
 public:
  explicit Batches(ThreadPool* pool)
  {
    if (pool && pool->size() > 1) {
      tasks.emplace(*pool);
      this->pool = pool;
    }
  }

  void run(ThreadPool::Task task)
  {
    if (!tasks) {
      task(0);
      return;
    }
    tasks->submit(std::move(task));
    const size_t limit = 4 * pool->size();
    pool->help_until([&] { return tasks->left() <= limit; });
  }

  // Waits until every task has run.
  void finish()
  {
    if (tasks)
      tasks->wait();
  }

 private:
  ThreadPool* pool = nullptr;
  std::optional<TaskGroup> tasks;
};

#endif
