#include "parallel/thread_pool.h"

thread_local unsigned int ThreadPool::running_here = 0;

ThreadPool::ThreadPool(unsigned int threads)
{
  for (unsigned int i = 1; i < threads; ++i)
    workers.emplace_back([this, i] { work(i); });
}

ThreadPool::~ThreadPool()
{
  {
    std::lock_guard<std::mutex> lock(mutex);
    stopping = true;
  }
  task_queued.notify_all();
  for (std::thread& t : workers)
    t.join();
}

void ThreadPool::submit(Task task, std::function<void()> ended)
{
  {
    std::lock_guard<std::mutex> lock(mutex);
    tasks.push_back({std::move(task), std::move(ended)});
  }
  task_queued.notify_one();
}

// Runs the oldest queued task with the lock released; false when none is queued.
bool ThreadPool::run_one(std::unique_lock<std::mutex>& lock, unsigned int thread)
{
  if (tasks.empty())
    return false;
  Queued queued = std::move(tasks.front());
  tasks.pop_front();
  // After a failure the run ends: the tasks left are only ended.
  const bool run = !failure;
  ++running;
  ++running_here;
  lock.unlock();
  try {
    if (run)
      queued.task(thread);
  } catch (...) {
    lock.lock();
    if (!failure)
      failure = std::current_exception();
    lock.unlock();
  }
  if (queued.ended)
    queued.ended();
  lock.lock();
  --running;
  --running_here;
  task_finished.notify_all();
  return true;
}

void ThreadPool::work(unsigned int thread)
{
  std::unique_lock<std::mutex> lock(mutex);
  while (!stopping) {
    if (!run_one(lock, thread))
      task_queued.wait(lock);
  }
}
