#ifndef PARALLEL_THREAD_POOL_H
#define PARALLEL_THREAD_POOL_H

#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// The one pool of a run: threads - 1 workers, and the thread that made the
// pool (thread 0), which works through the queue while it waits for a
// result, so that all threads are busy. Tasks are large (a record, a batch
// or a stretch of seeds); results are applied in input order by thread 0,
// never by the workers. A task is told the number of the thread that runs
// it, so that it can use scratch space of that thread's own.
class ThreadPool {
 public:
  explicit ThreadPool(unsigned int threads);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  unsigned int size() const { return static_cast<unsigned int>(workers.size()) + 1; }
  using Task = std::function<void(unsigned int thread)>;
  // ended, if given, runs once the task is over, also by an exception, and
  // after that exception is kept for help_until: what it publishes may end
  // a wait, which then learns of the failure.
  void submit(Task task, std::function<void()> ended = {});

  // Runs queued tasks on the calling thread until done() holds; done() is
  // called under the pool's lock and must only read what tasks publish when
  // they end, also when they end by an exception. Then rethrows the first
  // exception a task threw (out of memory). Before that it waits for every
  // task to be over, as the caller's data that they use goes with the
  // exception; tasks still queued then are not run, only ended.
  template <typename Done>
  void help_until(Done done)
  {
    std::unique_lock<std::mutex> lock(mutex);
    while (!done())
      if (!run_one(lock, 0))
        task_finished.wait(lock);
    if (!failure)
      return;
    while (!tasks.empty() || running > running_here)
      if (!run_one(lock, 0))
        task_finished.wait(lock);
    std::rethrow_exception(failure);
  }

 private:
  bool run_one(std::unique_lock<std::mutex>& lock, unsigned int thread);
  void work(unsigned int thread);

  std::mutex mutex;
  std::condition_variable task_queued;
  std::condition_variable task_finished;
  struct Queued {
    Task task;
    std::function<void()> ended;
  };
  std::deque<Queued> tasks;
  std::vector<std::thread> workers;
  std::exception_ptr failure;
  // The tasks being run, and those of them that the calling thread runs
  // while it waits (a task that waits for others).
  unsigned int running = 0;
  static thread_local unsigned int running_here;
  bool stopping = false;
};

// Tasks that use their caller's data: the group waits for them to be over
// before that data goes, also when the caller leaves by an exception (its
// own, or one of theirs). Declared after the data they use.
class TaskGroup {
 public:
  explicit TaskGroup(ThreadPool& pool) : pool(pool) {}
  ~TaskGroup()
  {
    try {
      wait();
    } catch (...) {
      // a task's failure: the caller is leaving already, or learnt it
    }
  }
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  void submit(ThreadPool::Task task)
  {
    ++outstanding;
    try {
      pool.submit(std::move(task), [this] { --outstanding; });
    } catch (...) {
      --outstanding;
      throw;
    }
  }
  // The tasks not yet over.
  size_t left() const { return outstanding; }
  // Runs queued tasks until those of the group are over, then rethrows a
  // task's failure, as ThreadPool::help_until.
  void wait() { pool.help_until([this] { return outstanding == 0; }); }

 private:
  ThreadPool& pool;
  std::atomic<size_t> outstanding{0};
};

// Runs an action when a task ends, also by an exception, so that whoever
// waits for the task learns that it is over.
template <typename Action>
struct AtEnd {
  Action action;
  ~AtEnd() { action(); }
};
template <typename Action>
AtEnd<Action> at_end(Action action)
{
  return AtEnd<Action>{action};
}

#endif
