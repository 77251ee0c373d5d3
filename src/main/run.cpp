// The run driver: settings, files, the loop over the records, and the order
// of search, filters, report and masking for each record.

#include "main/run.h"

#include "main/console.h"
#include "report/output_formats.h"
#include "parallel/record_pipeline.h"
#include "sequence/buffered_reader.h"
#include "sequence/fasta_record.h"
#include "settings/settings.h"
#include "settings/number2cstring.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

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

// Writes the records' reports and masked copies as they come, and tells
// their searches on the console.
class RunOutput : public RecordSink {
 public:
  RunOutput(const Settings& settings, FILE* out, const char* out_name, FILE* masked, const std::string& masked_name)
      : settings(settings), out(out), out_name(out_name), masked(masked), masked_name(masked_name)
  {
  }

  SearchProgress& search_starts(unsigned int number, FastaRecord& record) override
  {
    report_status(number, record.name.c_str(), settings.min_unit_length, 'r');
    update_report_time();
    progress = ConsoleProgress(number, record.name.c_str());
    return progress;
  }

  bool searched(FastaRecord& record, RepeatList& found) override
  {
    report_SATList(out, found.sats, record, settings);
    if (write_failed(out, out_name))
      return false;
    if (masked) {
      // Masking follows the report, so reported sequences are never masked.
      char* residues = record.residues.data();
      for (const Repeat* sat : found.sats) {
        char* end = residues + (sat->sat_end - residues);
        for (char* p = residues + (sat->sat_begin - residues); p != end; ++p)
          *p = settings.mask_lower ? static_cast<char>(std::tolower(static_cast<unsigned char>(*p))) : 'X';
      }
      record.writeSequence_fill_in_gaps_and_stars(masked, 80);
      if (write_failed(masked, masked_name.c_str()))
        return false;
    }
    return true;
  }

 private:
  const Settings& settings;
  FILE* out;
  const char* out_name;
  FILE* masked;
  const std::string& masked_name;
  ConsoleProgress progress{0, ""};
};

// Reads the records and runs them through the pipeline; 0, or the status
// of an early end (its message is out).
int run_records(BufferedReader& in, RecordPipeline& pipeline, const Settings& settings)
{
  unsigned int record_number = 0;
  while (!in.eof()) {
    FastaRecord& record = pipeline.next_record();
    if (settings.gaps_to_Ns)
      record.readFastaSequence_toupper_ambig2N_gaps2N(in);
    else
      record.readFastaSequence_toupper_ambig2N_removegaps(in);
    // Whatever ends the run here comes after the reports of the records before.
    const bool read_failed = record.too_long || !in.read_error().empty() || (in.fail() && !in.eof());
    if (read_failed && !pipeline.finish())
      return ERROR_WRITE;
    if (record.too_long) {
      PrintMessage(stderr, "Sorry! A sequence in the input file is longer than ",
                   number2str(FastaRecord::max_length), " characters,\n");
      PrintMessage(stderr, "the longest Zerlan can handle. File position: line ", number2str(in.line_number()),
                   "\n");
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
    if (!pipeline.search(record_number))
      return ERROR_WRITE;
  }
  return pipeline.finish() ? 0 : ERROR_WRITE;
}

// Opens the input and, when one is named, the report file; 0, or the
// status of the early end (its message is out).
int open_input_and_report(const Settings& settings, BufferedReader& in, FILE*& out)
{
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
  return 0;
}

} // namespace

int run_zerlan(int argc, char** argv)
{
  Settings settings;
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

  const int opened = open_input_and_report(settings, in, out);
  if (opened != 0)
    return opened;
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

  const std::string masked_name = settings.input_filename + ".masked";
  if (settings.masking()) {
    // Without the masked file the user would lose what was asked for, so
    // the run ends here, like a failure to open the output file.
    masked = std::fopen(masked_name.c_str(), "w");
    if (!masked) {
      PrintMessage(stderr, "Sorry! Failed to open file\n   \"", masked_name.c_str(), "\"\nfor the masked sequences.\n");
      good_bye_on_error(ERROR_MASKED_FILE_OPEN);
      return ERROR_MASKED_FILE_OPEN;
    }
  }

  {
    ThreadPool pool(settings.threads);
    SearchSetup setup(settings);
    RunOutput output(settings, out, out_name, masked, masked_name);
    RecordPipeline pipeline(setup, pool, output);
    const int status = run_records(in, pipeline, settings);
    if (status != 0)
      return status;
  }

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
