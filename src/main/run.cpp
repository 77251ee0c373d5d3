// The run driver: settings, files, the loop over the records, and the order
// of search, filters, report and masking for each record.

#include "main/run.h"

#include "main/console.h"
#include "report/output_formats.h"
#include "parallel/ordered_walk.h"
#include "search/record_search.h"
#include "sequence/buffered_reader.h"
#include "sequence/fasta_record.h"
#include "settings/settings.h"
#include "settings/number2cstring.h"

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <memory>
#include <vector>

namespace {

// Exit codes beyond the classic ones; each is written by good_bye_on_error.
const int ERROR_MASKED_FILE_OPEN = -103; // status 153
const int ERROR_WRITE = -104;            // status 152: report, standard output or masked file
const int ERROR_INPUT_READ = -105;       // status 151: corrupt compressed input or I/O error
const int ERROR_RECORD_TOO_LONG = -106;  // status 150

// Closes a stream that an early end leaves open; the normal end closes it
// itself to check the result.
struct StreamCloser {
  FILE*& stream;
  ~StreamCloser()
  {
    if (stream && stream != stdout)
      std::fclose(stream);
  }
};

// A stream whose writes failed (disk full, I/O error) ends the run: what was
// written stays, and the user learns which file is incomplete.
bool write_failed(FILE* f, const char* name, bool closing = false)
{
  bool failed = closing ? std::fclose(f) != 0 : (std::fflush(f) != 0 || std::ferror(f));
  if (!failed)
    return false;
  const char* reason = std::strerror(errno ? errno : EIO);
  PrintMessage(stderr, "Sorry! Failed to write to \n   \"", name, "\"\n");
  PrintMessage(stderr, "(", reason, "). The output is incomplete.\n");
  good_bye_on_error(ERROR_WRITE);
  return true;
}

// A record on its way through the run: read, searched (on any thread),
// then reported and masked in input order.
struct RecordJob {
  unsigned int number = 0;
  FastaRecord* record = nullptr;
  std::unique_ptr<FastaRecord> seq; // owns the record while it is searched on the pool
  std::unique_ptr<RecordSearch> controller;
  RepeatList* found = nullptr;
  // Searched on the reading thread, which wrote the record's progress line
  // and the search's messages as it went.
  bool searched_here = false;
  std::atomic<bool> searched{false};
};

// Writes a searched record's report and, with masking on, its masked copy.
// A record searched on the pool gets its progress line and the messages of
// its search here, in the order a search on this thread would have written
// them. False when a write failed (the message is out).
bool report_record(RecordJob& job, FILE* out, const char* out_name, FILE* masked, const std::string& masked_name,
                   const Settings& settings)
{
  FastaRecord& seq = *job.record;
  if (!job.searched_here) {
    report_status(job.number, seq.name.c_str(), settings.min_unit_length, 'r');
    update_report_time();
    if (settings.search_mode == 1)
      PrintMessage(stderr, "  Searching for exact repeats.\n", "  Extend exact to imperfect repeats.\n");
  }
  report_SATList(out, job.found->sats, seq, settings);
  if (write_failed(out, out_name))
    return false;
  if (masked) {
    // Masking follows the report, so reported sequences are never masked.
    char* residues = seq.residues.data();
    for (const Repeat* sat : job.found->sats) {
      char* end = residues + (sat->sat_end - residues);
      for (char* p = residues + (sat->sat_begin - residues); p != end; ++p)
        *p = settings.mask_lower ? static_cast<char>(std::tolower(static_cast<unsigned char>(*p))) : 'X';
    }
    seq.writeSequence_fill_in_gaps_and_stars(masked, 80);
    if (write_failed(masked, masked_name.c_str()))
      return false;
  }
  return true;
}

} // namespace

int run_zerlan(int argc, char** argv)
{
  Settings settings;
  FastaRecord seq;
  BufferedReader in;
  FILE* out = stdout;
  FILE* masked = nullptr;
  StreamCloser close_out{out}, close_masked{masked};

  time_analysis_started = time(nullptr);
  zerlan_welcome(stderr);

  int result = read_and_init_parameters(argc, argv, settings);
  if (result != 0) {
    good_bye_on_error(result);
    return result;
  }

  in.ffopen(settings.input_filename);
  if (in.fail()) {
    PrintMessage(stderr, "Sorry! The input file \n   \"", settings.input_filename.c_str(),
                         "\"\ncould not be opened. I guess it does not exist.\n");
    good_bye_on_error(-101);
    return -101;
  }
  if (!settings.output_filename.empty()) {
    out = std::fopen(settings.output_filename.c_str(), "w");
    if (!out) {
      PrintMessage(stderr, "Sorry! Failed to open file\n   \"", settings.output_filename.c_str(),
                           "\"\nas output file.\n");
      good_bye_on_error(-102);
      return -102;
    }
  }
  const char* out_name = settings.output_filename.empty() ? "standard output" : settings.output_filename.c_str();

  creator_message(stderr, "");
  print_search_parameters(stderr, "", settings);
  PrintMessage(stderr, "\n\nSearch progress:\n\nTime     - SeqNr - PatLen - Seq-Name\n",
                       "------------------------------------------------------------------------\n");
  creator_message(out, "# ");
  print_search_parameters(out, "# ", settings);
  print_output_format(out, "# ", settings);
  if (write_failed(out, out_name))
    return ERROR_WRITE;

  const bool masking = settings.mask_X || settings.mask_lower;
  const std::string masked_name = settings.input_filename + ".masked";
  if (masking) {
    // Without the masked file the user would lose what was asked for, so
    // the run ends here, like a failure to open the output file.
    masked = std::fopen(masked_name.c_str(), "w");
    if (!masked) {
      PrintMessage(stderr, "Sorry! Failed to open file\n   \"", masked_name.c_str(),
                           "\"\nfor the masked sequences.\n");
      good_bye_on_error(ERROR_MASKED_FILE_OPEN);
      return ERROR_MASKED_FILE_OPEN;
    }
  }

  // Records are read, reported and masked in input order on this thread.
  // With several threads, short records are searched on the pool while the
  // next ones are read, up to a bounded number of residues per thread; a
  // long record is searched alone, with all threads walking its seeds.
  ThreadPool pool(settings.threads);
  SearchSetup setup(settings);
  const bool parallel = pool.size() > 1;
  const size_t short_record = 256 * 1024;
  const size_t in_flight_residues_max = pool.size() * 1024 * 1024;
  const size_t in_flight_records_max = 4 * pool.size();
  std::deque<std::unique_ptr<RecordJob>> in_flight;
  std::vector<std::unique_ptr<FastaRecord>> idle_records;
  size_t in_flight_residues = 0;

  // Reports the oldest record in flight once its search has ended.
  auto report_oldest = [&]() -> bool {
    RecordJob& job = *in_flight.front();
    pool.help_until([&] { return job.searched.load(); });
    in_flight_residues -= job.record->residues.size();
    const bool ok = report_record(job, out, out_name, masked, masked_name, settings);
    job.controller.reset();
    idle_records.push_back(std::move(job.seq));
    in_flight.pop_front();
    return ok;
  };
  auto report_all = [&]() -> bool {
    while (!in_flight.empty())
      if (!report_oldest())
        return false;
    return true;
  };

  seq.residues.reserve(10000000);
  unsigned int record_number = 0;
  const FastaRecord* previous = nullptr;
  while (!in.eof()) {
    FastaRecord* record = &seq;
    if (parallel) {
      if (idle_records.empty())
        idle_records.push_back(std::make_unique<FastaRecord>());
      record = idle_records.back().get();
      // A lone '>' as the last byte of the input makes a record without a
      // header, which keeps the name of the record read before it, as one
      // record read into again and again does.
      if (previous && previous != record)
        record->name = previous->name;
    }
    previous = record;
    if (settings.gaps_to_Ns)
      record->readFastaSequence_toupper_ambig2N_gaps2N(in);
    else
      record->readFastaSequence_toupper_ambig2N_removegaps(in);
    // Whatever ends the run here comes after the reports of the records before.
    const bool read_failed = record->too_long || !in.read_error().empty() || (in.fail() && !in.eof());
    if (read_failed && !report_all())
      return ERROR_WRITE;
    if (record->too_long) {
      PrintMessage(stderr, "Sorry! A sequence in the input file is longer than ",
                           number2str(FastaRecord::max_length), " characters,\n");
      PrintMessage(stderr, "the longest Zerlan can handle. File position: line ",
                           number2str(in.line_number()), "\n");
      good_bye_on_error(ERROR_RECORD_TOO_LONG);
      return ERROR_RECORD_TOO_LONG;
    }
    // The input ended on a decompression or read error: the last record may
    // be cut short, so it is not reported as if it were complete.
    if (!in.read_error().empty()) {
      PrintMessage(stderr, "Sorry! The input file \n   \"", settings.input_filename.c_str(),
                           "\"\ncould not be read completely: ");
      PrintMessage(stderr, in.read_error().c_str(), "\n");
      good_bye_on_error(ERROR_INPUT_READ);
      return ERROR_INPUT_READ;
    }
    if (in.fail() && !in.eof()) {
      PrintMessage(stderr, "\n\n", "An error occurred while reading the input file. It might not be a "
                                           "valid fasta file.\n");
      PrintMessage(stderr, "File position: line ", number2str(in.line_number()), "\n");
      return -25;
    }
    ++record_number;
    if (record_number < static_cast<unsigned int>(settings.sequence_from) ||
        record_number > static_cast<unsigned int>(settings.sequence_to))
      continue;

    const size_t residues = record->residues.size();
    if (parallel && residues < short_record && setup.thresholds.covers(residues)) {
      auto job = std::make_unique<RecordJob>();
      job->number = record_number;
      job->seq = std::move(idle_records.back());
      job->record = job->seq.get();
      idle_records.pop_back();
      RecordJob* j = job.get();
      in_flight.push_back(std::move(job));
      in_flight_residues += residues;
      pool.submit([j, &setup](unsigned int) {
        auto done = at_end([j] { j->searched = true; });
        j->controller = std::make_unique<RecordSearch>(setup, j->number, *j->record);
        j->found = &j->controller->search_and_filter();
      });
      while (in_flight.size() > in_flight_records_max || in_flight_residues > in_flight_residues_max)
        if (!report_oldest())
          return ERROR_WRITE;
      continue;
    }

    // A long record, or one run: reports before it come first; it is then
    // searched here, with its messages and timed progress lines.
    if (!report_all())
      return ERROR_WRITE;
    RecordJob job;
    job.number = record_number;
    job.record = record;
    job.searched_here = true;
    report_status(record_number, record->name.c_str(), settings.min_unit_length, 'r');
    update_report_time();
    setup.thresholds.cover(residues);
    ConsoleProgress progress(record_number, record->name.c_str());
    job.controller = std::make_unique<RecordSearch>(setup, record_number, *record, parallel ? &pool : nullptr, &progress);
    job.controller->walk_with_workers = walk_with_workers;
    job.found = &job.controller->search_and_filter();
    if (!report_record(job, out, out_name, masked, masked_name, settings))
      return ERROR_WRITE;
  }
  if (!report_all())
    return ERROR_WRITE;

  if (masked) {
    FILE* f = masked;
    masked = nullptr;
    if (write_failed(f, masked_name.c_str(), true))
      return ERROR_WRITE;
  }
  in.ffclose();
  print_report_end(out, settings);
  good_bye();
  if (out == stdout)
    return write_failed(out, out_name) ? ERROR_WRITE : 0;
  FILE* f = out;
  out = nullptr;
  return write_failed(f, out_name, true) ? ERROR_WRITE : 0;
}
