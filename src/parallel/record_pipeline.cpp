#include "parallel/record_pipeline.h"

#include "parallel/ordered_walk.h"

#include <atomic>

namespace {

const size_t SHORT_RECORD = 256 * 1024;

// What a search on the pool tells, kept to be told in input order.
class StepsLater : public SearchProgress {
 public:
  void step(const char* text) override { steps.push_back(text); }
  void at_unit_length(unsigned int) override {} // timed lines are for searches on this thread
  std::vector<const char*> steps;
};

} // namespace

// A record searched on the pool, owned by the pipeline until it is handed over.
struct RecordPipeline::Job {
  unsigned int number = 0;
  std::unique_ptr<FastaRecord> record;
  StepsLater progress;
  std::unique_ptr<RecordSearch> search;
  RepeatList* found = nullptr;
  std::atomic<bool> searched{false};
};

RecordPipeline::RecordPipeline(SearchSetup& setup, ThreadPool& pool, RecordSink& sink)
    : setup(setup), pool(pool), sink(sink), parallel(pool.size() > 1), reading(&single)
{
  single.residues.reserve(10000000);
}

RecordPipeline::~RecordPipeline()
{
  // Searches still running on the pool (after an early end) use the
  // records: they end first.
  try {
    pool.help_until([&] {
      for (const auto& job : in_flight)
        if (!job->searched)
          return false;
      return true;
    });
  } catch (...) {
    // what a task threw is already on its way
  }
}

FastaRecord& RecordPipeline::next_record()
{
  if (!parallel)
    return single;
  if (idle_records.empty())
    idle_records.push_back(std::make_unique<FastaRecord>());
  reading = idle_records.back().get();
  // A lone '>' as the last byte of the input makes a record without a
  // header, which keeps the name of the record read before it, as one
  // record read into again and again does.
  if (previous && previous != reading)
    reading->name = previous->name;
  previous = reading;
  return *reading;
}

bool RecordPipeline::hand_over_oldest()
{
  Job& job = *in_flight.front();
  pool.help_until([&] { return job.searched.load(); });
  in_flight_residues -= job.record->residues.size();
  SearchProgress& told = sink.search_starts(job.number, *job.record);
  for (const char* text : job.progress.steps)
    told.step(text);
  const bool ok = sink.searched(*job.record, *job.found);
  job.search.reset();
  idle_records.push_back(std::move(job.record));
  in_flight.pop_front();
  return ok;
}

bool RecordPipeline::finish()
{
  while (!in_flight.empty())
    if (!hand_over_oldest())
      return false;
  return true;
}

bool RecordPipeline::search(unsigned int number)
{
  FastaRecord& record = *reading;
  const size_t residues = record.residues.size();
  if (parallel && residues < SHORT_RECORD && setup.thresholds.covers(residues)) {
    auto job = std::make_unique<Job>();
    job->number = number;
    job->record = std::move(idle_records.back());
    idle_records.pop_back();
    Job* j = job.get();
    in_flight.push_back(std::move(job));
    in_flight_residues += residues;
    pool.submit(
        [j, this](unsigned int) {
          j->search = std::make_unique<RecordSearch>(setup, j->number, *j->record, nullptr, &j->progress);
          j->found = &j->search->search_and_filter();
        },
        [j] { j->searched = true; });
    while (in_flight.size() > 4 * pool.size() || in_flight_residues > pool.size() * 1024 * 1024)
      if (!hand_over_oldest())
        return false;
    return true;
  }

  // A long record, or one run: the records before it come first; it is then
  // searched here, telling what it does as it goes.
  if (!finish())
    return false;
  SearchProgress& progress = sink.search_starts(number, record);
  setup.thresholds.cover(residues);
  RecordSearch search(setup, number, record, parallel ? &pool : nullptr, &progress);
  search.walk_with_workers = walk_with_workers;
  return sink.searched(record, search.search_and_filter());
}
