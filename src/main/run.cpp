// The run driver: settings, files, the loop over the records, and the order
// of search, filters, report and masking for each record.

#include "main/run.h"

#include "main/console.h"
#include "report/output_formats.h"
#include "search/CSearchController.h"
#include "sequence/CFile.h"
#include "sequence/CSequence_Mol.h"
#include "settings/global-types-and-parameters.h"
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
  general_PrintMessage(stderr, "Sorry! Failed to write to \n   \"", name, "\"\n");
  general_PrintMessage(stderr, "(", reason, "). The output is incomplete.\n");
  good_bye_on_error(ERROR_WRITE);
  return true;
}

} // namespace

int run_zerlan(int argc, char** argv)
{
  CSequence_Mol seq;
  CFile in;
  FILE* out = stdout;
  FILE* masked = nullptr;
  StreamCloser close_out{out}, close_masked{masked};

  time_analysis_started = time(nullptr);
  zerlan_welcome(stderr);

  int result = read_and_init_parameters(argc, argv);
  if (result != 0) {
    good_bye_on_error(result);
    return result;
  }

  in.ffopen(global_input_filename);
  if (in.fail()) {
    general_PrintMessage(stderr, "Sorry! The input file \n   \"", global_input_filename.c_str(),
                         "\"\ncould not be opened. I guess it does not exist.\n");
    good_bye_on_error(-101);
    return -101;
  }
  if (!global_output_filename.empty()) {
    out = std::fopen(global_output_filename.c_str(), "w");
    if (!out) {
      general_PrintMessage(stderr, "Sorry! Failed to open file\n   \"", global_output_filename.c_str(),
                           "\"\nas output file.\n");
      good_bye_on_error(-102);
      return -102;
    }
  }
  const char* out_name = global_output_filename.empty() ? "standard output" : global_output_filename.c_str();

  creator_message(stderr, "");
  print_search_parameters(stderr, "");
  general_PrintMessage(stderr, "\n\nSearch progress:\n\nTime     - SeqNr - PatLen - Seq-Name\n",
                       "------------------------------------------------------------------------\n");
  creator_message(out, "# ");
  print_search_parameters(out, "# ");
  print_output_format(out, "# ");
  if (write_failed(out, out_name))
    return ERROR_WRITE;

  const bool masking = global_mask_X || global_mask_lower;
  const std::string masked_name = global_input_filename + ".masked";
  if (masking) {
    // Without the masked file the user would lose what was asked for, so
    // the run ends here, like a failure to open the output file.
    masked = std::fopen(masked_name.c_str(), "w");
    if (!masked) {
      general_PrintMessage(stderr, "Sorry! Failed to open file\n   \"", masked_name.c_str(),
                           "\"\nfor the masked sequences.\n");
      good_bye_on_error(ERROR_MASKED_FILE_OPEN);
      return ERROR_MASKED_FILE_OPEN;
    }
  }

  seq.residues.reserve(10000000);
  unsigned int record_number = 0;
  while (!in.eof()) {
    if (global_gaps_to_Ns)
      seq.readFastaSequence_toupper_ambig2N_gaps2N(in);
    else
      seq.readFastaSequence_toupper_ambig2N_removegaps(in);
    if (seq.too_long) {
      general_PrintMessage(stderr, "Sorry! A sequence in the input file is longer than ",
                           number2str(CSequence_Mol::max_length), " characters,\n");
      general_PrintMessage(stderr, "the longest Zerlan can handle. File position: line ",
                           number2str(in.line_number()), "\n");
      good_bye_on_error(ERROR_RECORD_TOO_LONG);
      return ERROR_RECORD_TOO_LONG;
    }
    // The input ended on a decompression or read error: the last record may
    // be cut short, so it is not reported as if it were complete.
    if (!in.read_error().empty()) {
      general_PrintMessage(stderr, "Sorry! The input file \n   \"", global_input_filename.c_str(),
                           "\"\ncould not be read completely: ");
      general_PrintMessage(stderr, in.read_error().c_str(), "\n");
      good_bye_on_error(ERROR_INPUT_READ);
      return ERROR_INPUT_READ;
    }
    if (in.fail() && !in.eof()) {
      general_PrintMessage(stderr, "\n\n", "An error occurred while reading the input file. It might not be a "
                                           "valid fasta file.\n");
      general_PrintMessage(stderr, "File position: line ", number2str(in.line_number()), "\n");
      return -25;
    }
    ++record_number;
    if (record_number < static_cast<unsigned int>(global_sequence_from) ||
        record_number > static_cast<unsigned int>(global_sequence_to))
      continue;

    report_status(record_number, seq.name.c_str(), global_min_unit_length, 'r');
    update_report_time();
    CSearchController controller(record_number, seq);
    CsatContainer* found;
    if (global_search_mode == 0) {
      controller.exact_search_2();
      controller.remove_hidden(controller.exact_sats);
      found = &controller.exact_sats;
    } else {
      if (global_search_mode == 1)
        controller.search_exact_and_extend_to_imperfect_repeats();
      else
        controller.complete_imperfect_search(out);
      controller.remove_hidden(controller.imperfect_sats);
      controller.filter_perfection(controller.imperfect_sats);
      found = &controller.imperfect_sats;
    }
    report_SATList(out, found->sats, seq);
    if (write_failed(out, out_name))
      return ERROR_WRITE;

    if (masking) {
      // Masking follows the report, so reported sequences are never masked.
      char* residues = seq.residues.data();
      for (const Csat* sat : found->sats) {
        char* end = residues + (sat->sat_end - residues);
        for (char* p = residues + (sat->sat_begin - residues); p != end; ++p)
          *p = global_mask_lower ? static_cast<char>(std::tolower(static_cast<unsigned char>(*p))) : 'X';
      }
      seq.writeSequence_fill_in_gaps_and_stars(masked, 80);
      if (write_failed(masked, masked_name.c_str()))
        return ERROR_WRITE;
    }
  }

  if (masked) {
    FILE* f = masked;
    masked = nullptr;
    if (write_failed(f, masked_name.c_str(), true))
      return ERROR_WRITE;
  }
  in.ffclose();
  good_bye(out);
  if (out == stdout)
    return write_failed(out, out_name) ? ERROR_WRITE : 0;
  FILE* f = out;
  out = nullptr;
  return write_failed(f, out_name, true) ? ERROR_WRITE : 0;
}
