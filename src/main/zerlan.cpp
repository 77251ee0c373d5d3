// Zerlan: searches DNA sequences in FASTA format for tandem repeats.
// The run driver: settings, files, the loop over the records, and the order
// of search, filters, report and masking for each record.

#include "main/console.h"
#include "report/output_formats.h"
#include "search/CSearchController.h"
#include "sequence/CFile.h"
#include "sequence/CSequence_Mol.h"
#include "settings/global-types-and-parameters.h"
#include "settings/number2cstring.h"

#include <cctype>
#include <cstdio>
#include <ctime>

int main(int argc, char** argv)
{
  CSequence_Mol seq;
  CFile in;
  FILE* out = stdout;
  FILE* masked = nullptr;

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

  creator_message(stderr, "");
  print_search_parameters(stderr, "");
  general_PrintMessage(stderr, "\n\nSearch progress:\n\nTime     - SeqNr - PatLen - Seq-Name\n",
                       "------------------------------------------------------------------------\n");
  creator_message(out, "# ");
  print_search_parameters(out, "# ");
  print_output_format(out, "# ");
  std::fflush(out);

  const bool masking = global_mask_X || global_mask_lower;
  if (masking) {
    // Without the masked file the user would lose what was asked for, so
    // the run ends here, like a failure to open the output file.
    const std::string masked_name = global_input_filename + ".masked";
    masked = std::fopen(masked_name.c_str(), "w");
    if (!masked) {
      general_PrintMessage(stderr, "Sorry! Failed to open file\n   \"", masked_name.c_str(),
                           "\"\nfor the masked sequences.\n");
      good_bye_on_error(-103);
      return -103;
    }
  }

  seq.residues.reserve(10000000);
  unsigned int record_number = 0;
  while (!in.eof()) {
    if (global_gaps_to_Ns)
      seq.readFastaSequence_toupper_ambig2N_gaps2N(in);
    else
      seq.readFastaSequence_toupper_ambig2N_removegaps(in);
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

    if (masking) {
      char* residues = seq.residues.data();
      for (const Csat* sat : found->sats) {
        char* begin = residues + (sat->sat_begin - residues);
        char* end = residues + (sat->sat_end - residues);
        for (char* p = begin; p != end; ++p)
          *p = global_mask_lower ? static_cast<char>(std::tolower(static_cast<unsigned char>(*p))) : 'X';
      }
      seq.writeSequence_fill_in_gaps_and_stars(masked, 80);
    }
  }

  if (masked)
    std::fclose(masked);
  in.ffclose();
  good_bye(out);
  if (out != stdout)
    std::fclose(out);
  return 0;
}
