#ifndef PARALLEL_RECORD_PIPELINE_H
#define PARALLEL_RECORD_PIPELINE_H

#include "parallel/thread_pool.h"
#include "search/record_search.h"
#include "sequence/fasta_record.h"

#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

// What becomes of the records of a pipeline, in input order.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  // The search of a record is told (or, for one searched on the pool, is
  // retold) on this thread: what it tells goes here.
  virtual SearchProgress& search_starts(unsigned int number, FastaRecord& record) = 0;
  // A record has been searched: writes what it found. False ends the run
  // (the message is out).
  virtual bool searched(FastaRecord& record, RepeatList& found) = 0;
};

// Records are read, searched, and handed to the sink in input order, all on
// this thread. With several threads, short records are searched on the pool
// while the next ones are read, up to a bounded number of residues per
// thread; a long record is searched alone, with all threads walking its
// seeds.
class RecordPipeline {
 public:
  RecordPipeline(SearchSetup& setup, ThreadPool& pool, RecordSink& sink);
  ~RecordPipeline();

  // The record to read the next one into.
  FastaRecord& next_record();
  // Searches the record just read, as the number-th of the input, and hands
  // the records before it to the sink as they are done. False when the
  // sink ended the run.
  bool search(unsigned int number);
  // Hands all records still in flight to the sink; false when it ended
  // the run.
  bool finish();

 private:
  struct Job;
  bool hand_over_oldest();

  SearchSetup& setup;
  ThreadPool& pool;
  RecordSink& sink;
  const bool parallel;
  FastaRecord single;     // the one record of a run on one thread
  FastaRecord* reading;   // the record being read
  const FastaRecord* previous = nullptr;
  std::deque<std::unique_ptr<Job>> in_flight;
  std::vector<std::unique_ptr<FastaRecord>> idle_records;
  size_t in_flight_residues = 0;
};

#endif
