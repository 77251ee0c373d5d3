#include "settings/settings.h"

#include "settings/number2cstring.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sched.h>
#include <tclap/CmdLine.h>
#include <vector>

std::string global_input_filename;
std::string global_output_filename;

int global_sequence_from;
int global_sequence_to;
int global_search_mode;
int global_N_and_perfection_mode;
int global_report_unit_mode;
int global_print_sat_seq_mode;
int global_print_sat_mode;
bool global_sequenceInfoAsComment;
int global_flanking;
int global_maximum_recursion_depth;
int global_maximum_scorereduction;
unsigned int global_min_unit_length;
unsigned int global_max_unit_length;
bool global_treat_Ns_as_missense;
int global_Ns_allowed_in_a_row;
int global_min_score;
int global_min_score_a;
float global_min_score_bx;
int global_min_length;
int global_min_length_a;
float global_min_length_bx;
float global_min_perfection;
float global_max_perfection;
int global_mismatch_score;
int global_indel_score;
int global_prefer_longer_repeat;
bool global_remove_mostly_hidden;
bool global_mask_X;
bool global_mask_lower;
bool global_gaps_to_Ns;
bool global_VELTA_run;
unsigned int global_threads;

void init_param()
{
  global_sequence_from = 1;
  global_sequence_to = -1;
  global_search_mode = 2;
  global_N_and_perfection_mode = 0;
  global_report_unit_mode = 2;
  global_print_sat_seq_mode = 2;
  global_print_sat_mode = 1;
  global_sequenceInfoAsComment = false;
  global_flanking = 0;
  global_maximum_recursion_depth = 5;
  global_maximum_scorereduction = SCOREREDUCTION_UNLIMITED;
  global_min_unit_length = 1;
  global_max_unit_length = 10;
  global_treat_Ns_as_missense = false;
  global_Ns_allowed_in_a_row = 2;
  global_min_score = 6;
  global_min_score_a = 0;
  global_min_score_bx = 1.0f;
  global_min_length = 0;
  global_min_length_a = 0;
  global_min_length_bx = 0.0f;
  global_min_perfection = 0.0f;
  global_max_perfection = 100.0f;
  global_mismatch_score = -5;
  global_indel_score = -5;
  global_prefer_longer_repeat = 1;
  global_remove_mostly_hidden = true;
  global_mask_X = false;
  global_mask_lower = false;
  global_gaps_to_Ns = false;
  global_VELTA_run = false;
  global_threads = 1;
}

namespace {

// The file names: every word that no option claims. A word that starts with
// '-' is refused, so that a mistyped option is a parse error rather than a
// file name; after "--" every word is a name.
class FileNamesArg : public TCLAP::UnlabeledMultiArg<std::string> {
 public:
  using TCLAP::UnlabeledMultiArg<std::string>::UnlabeledMultiArg;
  bool processArg(int* i, std::vector<std::string>& args) override
  {
    const std::string& word = args[static_cast<size_t>(*i)];
    if (word.size() > 1 && word[0] == '-' && !TCLAP::Arg::ignoreRest())
      return false;
    return TCLAP::UnlabeledMultiArg<std::string>::processArg(i, args);
  }
};

} // namespace

static void error_message(const char* a, const char* b = "", const char* c = "")
{
  std::fputs(a, stderr);
  std::fputs(b, stderr);
  std::fputs(c, stderr);
  std::fflush(stderr);
}

// The four mode numbers are checked in this order; each message names the
// option and the refused value.
static bool mode_in_range(int value, int max, const char* before, const char* after)
{
  if (value >= 0 && value <= max)
    return true;
  std::string v = number2str(value);
  error_message("Sorry, a problem occured when parsing the command line options. ", before, v.c_str());
  error_message(after);
  return false;
}

// The number of threads: ZERLAN_THREADS when it is set, otherwise the CPUs
// in the process's affinity mask, which taskset, cpusets and batch
// schedulers restrict. More than MAX_THREADS are not started.
static int read_thread_count()
{
  const char* text = std::getenv("ZERLAN_THREADS");
  if (!text) {
    cpu_set_t cpus;
    int count = sched_getaffinity(0, sizeof cpus, &cpus) == 0 ? CPU_COUNT(&cpus) : 1;
    global_threads = std::min<unsigned int>(std::max(count, 1), MAX_THREADS);
    return 0;
  }
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (end == text || *end != '\0' || errno != 0 || value < 1) {
    error_message("Sorry, the environment variable ZERLAN_THREADS must be a whole number of threads\n"
                  "greater than 0, not \"", text, "\".\n");
    return -1;
  }
  global_threads = static_cast<unsigned int>(std::min<long long>(value, MAX_THREADS));
  return 0;
}

int read_and_init_parameters(int argc, char** argv)
{
  init_param();

  std::string version = "3.3.11";
  version += ".\nThis is a ";
  version += number2str(static_cast<int>(sizeof(void*) * 8));
  version += " bit version of Zerlan.";

  try {
    TCLAP::CmdLine cmd("This program searches for tandemly repeated patterns in DNA sequences.", ' ', version);

    using TCLAP::SwitchArg;
    using TCLAP::ValueArg;

    SwitchArg convert_gaps_to_Ns("", "convert_gaps_to_Ns",
        "Some basecaller introduce gaps which naturally should be Ns.With this option we convert gaps to Ns. "
        "Otherwise gaps are excised from the sequence. (The '*' characters, which was introduced in some "
        "older programs is treated in the same way as gaps.)", global_gaps_to_Ns);
    SwitchArg sequenceInfoAsComment("", "sequenceInfoAsComment",
        "In the GFF and one-per-line output modes, show additional sequence information in the output "
        "file as a comment.", global_sequenceInfoAsComment);
    ValueArg<int> succN("N", "succN",
        "The maximum number of successive N's allowed in a satellite. Default: 2.",
        false, global_Ns_allowed_in_a_row, "int");
    SwitchArg NsAsMissense("", "NsAsMissense",
        "Treat N's as missense. Default: Treat N's as neutral with score 0.", global_treat_Ns_as_missense);
    SwitchArg preferShorterRepeats("", "preferShorterRepeats",
        "For two alignments of the same repeat that have the same score, Zerlan reports by default (since "
        "version 3.3.9) the longer alignment. The longer alignment will have more mismatches/gaps and a lower "
        "perfection. With this option, Zerlan will choose the shorter of the two alignments instead of the "
        "longer. Zerlan will run faster with this option.", global_prefer_longer_repeat == 0);
    ValueArg<int> reportUnit("", "reportUnit",
        "Repeat units can be reported in three different modes. 0: asIs, 1: Alphabetical normal form, 2: "
        "Alphabetical normal form also considering the reverse complement. Default: 2",
        false, global_report_unit_mode, "int");
    ValueArg<int> NPerfectionMode("", "NPerfectionMode",
        "Zerlan provides different modes to treat N's when computing the perfection of a repeat. 0: "
        "asMismatch, 1: asNeutral, 2: asMatch. Default: 0",
        false, global_N_and_perfection_mode, "int");
    ValueArg<int> printRepeatSeqMode("", "printRepeatSeqMode",
        "Zerlan provides different modes to print the repeat sequence along with its information. 0: don't "
        "print sequence, 1: print sequence, 2: print alignment.",
        false, global_print_sat_seq_mode, "int");
    ValueArg<int> outputFormat("", "outputFormat",
        "Zerlan provides different output formats for printing the repeat information. 0: Zerlan output "
        "format, 1: extended Zerlan output format, 2: gff - general feature format, 3: one-per-line format, "
        "4: as fasta sequence",
        false, global_print_sat_mode, "int");
    SwitchArg maskX("", "maskX",
        "Writes the sequences to a file with the extension \".masked\" in which repeats are masked by the X "
        "character. Currently, this option has the sometimes unwanted side effect of changing all ambiguity "
        "codes to Ns.", global_mask_X);
    SwitchArg VELTArun("", "VELTArun",
        "This option tells Zerlan that it called from VELTA, which slighly alters the output, mostly to be "
        "backward compatible with older versions with less lines of output.", global_VELTA_run);
    SwitchArg maskLower("", "maskLower",
        "Writes the sequences to a file with the extension \".masked\" in which repeats are masked by lower "
        "case letters. Currently, this option has the sometimes unwanted side effect of changing all "
        "ambiguity codes to Ns.", global_mask_lower);
    ValueArg<int> flanking("f", "flanking",
        "If the satellite sequence is printed, this is the number of flanking nucleotides to be printed to "
        "the left and right of it. Default: 0",
        false, global_flanking, "int");
    ValueArg<float> minPerfection("", "minPerfection",
        "Minimum perfection of a satellites. Default: 0.", false, global_min_perfection, "float");
    ValueArg<float> maxPerfection("", "maxPerfection",
        "Maximum perfection of a satellites. Default: 100.", false, global_max_perfection, "float");
    SwitchArg dontRemoveMostlyOverlapping("D", "dontRemoveMostlyOverlapping",
        "Zerlan sometimes finds repeats that partially or completely overlap with other repeats, e.g. if "
        "alignments with alternative repeat patterns exist at the same locus in a sequence. The default is "
        "to remove one of any two mostly overlapping repeats in favour of that repeat with the highest "
        "score. With this option, Zerlan reports also repeats that mostly overlap with higher scoring "
        "repeats.", global_remove_mostly_hidden);
    ValueArg<int> firstSeq("", "firstSeq",
        "Number of first sequence to be processed in this run.", false, global_sequence_from, "int");
    ValueArg<int> lastSeq("", "lastSeq",
        "Number of last sequence to be processed in this run.", false, global_sequence_to, "int");
    ValueArg<int> maximum_score_reduction("R", "maximum_score_reduction",
        "The maximum amount the score can be reduced before search is aborded. Typical: 6*mismatch-penalty "
        "or infinite. Default: infinite",
        false, global_maximum_scorereduction, "int");
    ValueArg<int> recursion("r", "recursion",
        "The recursion depth used in the search. Values in the range 3 to 7 are recommended. A value of 0 "
        "implies a search for perfect repeats only.",
        false, global_maximum_recursion_depth, "int");
    ValueArg<unsigned int> minUnitLen("u", "minUnitLen", "Minimum unit length. Default: 1",
        false, global_min_unit_length, "int");
    ValueArg<unsigned int> maxUnitLen("U", "maxUnitLen", "Maximum unit length. Default: 10",
        false, global_max_unit_length, "int");
    ValueArg<float> minLength_b("", "minLength_b",
        "The minimum length of a repeat is determined with: maximum( minLength, minLength_a + "
        "minLength_b*(unit-length) ). Default value of minLength_b: 0",
        false, global_min_length_bx, "float");
    ValueArg<int> minLength_a("", "minLength_a",
        "The minimum length of a repeat is determined with: maximum( minLength, minLength_a + "
        "minLength_b*(unit-length) ). Default value of minLength_a: 0",
        false, global_min_length_a, "int");
    ValueArg<int> minLength("l", "minLength",
        "The minimum length of a repeat is determined with: maximum( minLength, minLength_a + "
        "minLength_b*(unit-length) ). Default value of minLength: 0",
        false, global_min_length, "int");
    ValueArg<float> minScore_b("", "minScore_b",
        "The minimum score of a repeat is determined with: maximum( minScore, minScore_a + "
        "minScore_b*(unit-length) ). Default value of minScore_b: 1",
        false, global_min_score_bx, "float");
    ValueArg<int> minScore_a("", "minScore_a",
        "The minimum score of a repeat is determined with: maximum( minScore, minScore_a + "
        "minScore_b*(unit-length) ). Default value of minScore_a: 0",
        false, global_min_score_a, "int");
    ValueArg<int> minScore("s", "minScore",
        "The minimum score of a repeat is determined with: maximum( minScore, minScore_a + "
        "minScore_b*(unit-length) ). Default value of minScore: 6",
        false, global_min_score, "int");
    ValueArg<int> mismatchScore("m", "mismatchScore",
        "Score for mismatch - must be negative. Default: -5. Match score is fixed to one.",
        false, global_mismatch_score, "int");
    ValueArg<int> indelScore("g", "indelScore",
        "Score for indels - must be negative. Default: -5. Match score is fixed to one.",
        false, global_indel_score, "int");
    std::vector<std::string> modes = {"exact", "extendExact", "imperfect"};
    TCLAP::ValuesConstraint<std::string> allowed_modes(modes);
    ValueArg<std::string> searchMode("M", "searchMode",
        "Zerlan provides three different search modes. exact: Search for exact repeats, only. extendExact: "
        "Searches for exact repeats and extends them by inserting mismatches and indels. imperfect: "
        "Searches directly for imperfect repeats.",
        false, "imperfect", &allowed_modes);
    FileNamesArg iofiles("iofiles",
        "Zerlan requires either one or two file names as parameters. The first must be the input file in "
        "FASTA format. If a second file is specified, output is written to it. If no second file is given, "
        "output is written to the console. ",
        false, "Input and output filenames", true);

    TCLAP::Arg* in_order[] = {
      &convert_gaps_to_Ns, &sequenceInfoAsComment, &succN, &NsAsMissense, &preferShorterRepeats,
      &reportUnit, &NPerfectionMode, &printRepeatSeqMode, &outputFormat, &maskX, &VELTArun, &maskLower,
      &flanking, &minPerfection, &maxPerfection, &dontRemoveMostlyOverlapping, &firstSeq, &lastSeq,
      &maximum_score_reduction, &recursion, &minUnitLen, &maxUnitLen, &minLength_b, &minLength_a,
      &minLength, &minScore_b, &minScore_a, &minScore, &mismatchScore, &indelScore, &searchMode, &iofiles,
    };
    for (TCLAP::Arg* arg : in_order)
      cmd.add(arg);

    cmd.parse(argc, argv);

    const std::vector<std::string>& files = iofiles.getValue();
    if (files.empty()) {
      error_message("Error: No input file has been specified. Type ", argv[0],
                    " --help for more information.\n");
      return -1;
    }
    if (files.size() == 1) {
      global_input_filename = files[0];
    } else if (files.size() == 2) {
      global_input_filename = files[0];
      global_output_filename = files[1];
    }
    // Three or more names: neither is taken, and opening the empty input name fails later.

    global_sequence_from = firstSeq.getValue();
    global_sequence_to = lastSeq.getValue();
    global_maximum_recursion_depth = recursion.getValue();
    global_maximum_scorereduction = maximum_score_reduction.getValue();
    global_Ns_allowed_in_a_row = succN.getValue();
    global_treat_Ns_as_missense = NsAsMissense.getValue();
    global_remove_mostly_hidden = dontRemoveMostlyOverlapping.getValue();
    global_min_unit_length = minUnitLen.getValue();
    global_max_unit_length = maxUnitLen.getValue();
    global_min_length = minLength.getValue();
    global_min_length_a = minLength_a.getValue();
    global_min_length_bx = minLength_b.getValue();
    global_min_score = minScore.getValue();
    global_min_score_a = minScore_a.getValue();
    global_min_score_bx = minScore_b.getValue();
    global_min_perfection = minPerfection.getValue();
    global_max_perfection = maxPerfection.getValue();
    global_mismatch_score = mismatchScore.getValue();
    global_indel_score = indelScore.getValue();
    global_mask_lower = maskLower.getValue();
    global_flanking = flanking.getValue();
    global_mask_X = maskX.getValue();
    global_VELTA_run = VELTArun.getValue();
    global_sequenceInfoAsComment = sequenceInfoAsComment.getValue();
    global_gaps_to_Ns = convert_gaps_to_Ns.getValue();

    global_prefer_longer_repeat = preferShorterRepeats.getValue() ? 0 : 1;
    if (global_mask_lower)
      global_mask_X = false;
    const std::string& mode = searchMode.getValue();
    global_search_mode = mode == "exact" ? 0 : mode == "extendExact" ? 1 : 2;

    if (!mode_in_range(outputFormat.getValue(), 4, "An outputFormat with a value of ", " is unknown.\n\n"))
      return -2;
    global_print_sat_mode = outputFormat.getValue();
    if (!mode_in_range(printRepeatSeqMode.getValue(), 2, "A printRepeatSeqMode with a value of ",
                       " is unknown.\n\n"))
      return -2;
    global_print_sat_seq_mode = printRepeatSeqMode.getValue();
    // The wording of this message is ours; it follows the two above.
    if (!mode_in_range(NPerfectionMode.getValue(), 2, "An NPerfectionMode with a value of ",
                       " is unknown.\n\n"))
      return -2;
    global_N_and_perfection_mode = NPerfectionMode.getValue();
    if (!mode_in_range(reportUnit.getValue(), 2, "An option value of ",
                       " for the reportUnit option is unknown.\n\n"))
      return -2;
    global_report_unit_mode = reportUnit.getValue();
  } catch (TCLAP::ArgException& e) {
    error_message("Error: ", e.error().c_str(), " for arg ");
    error_message(e.argId().c_str(), "\n");
    return -1;
  }

  // Unit-length-1 thresholds before rounding up, in single precision.
  float S = std::max(static_cast<float>(global_min_score),
                     static_cast<float>(global_min_score_a) + global_min_score_bx);
  float L = std::max(static_cast<float>(global_min_length),
                     static_cast<float>(global_min_length_a) + global_min_length_bx);
  if (S < 2 && L < 2) {
    error_message("Sorry, either the minimum score or the minimum length must be larger.\n");
    return -1;
  }
  if (global_mismatch_score > -2) {
    error_message("Sorry, the mismatch score must be smaller or equal to -2.\n");
    return -1;
  }
  if (global_indel_score > -2) {
    error_message("Sorry, the indel score must be smaller or equal to -2.\n");
    return -1;
  }
  if (global_Ns_allowed_in_a_row < 0)
    global_Ns_allowed_in_a_row = 0;
  if (global_flanking < 0)
    global_flanking = 0;
  if (global_maximum_recursion_depth <= 0) {
    error_message("Sorry, the recursion depth must be greater than 0.\n"
                  "A value of 0 would corresponds to a perfect search.\n");
    return -1;
  }
  if (global_max_unit_length < global_min_unit_length) {
    error_message("I think you have made a mistake here: The maximum unit length must be greater\n"
                  "or equal to the minimum unit length.\n");
    return -1;
  }
  // The masked copy is written beside the input file, and standard input
  // has no place beside it.
  if (global_input_filename == "-" && (global_mask_X || global_mask_lower)) {
    error_message("Sorry, the options --maskX and --maskLower write the masked sequences to a file beside\n"
                  "the input file. They cannot be used when the input is read from standard input (\"-\").\n");
    return -1;
  }
  return read_thread_count();
}

// One summary line: prefix, label, separator, value, line feed. Every piece
// is written literally; none is a format template.
static void summary_line(FILE* out, const char* prefix, const char* label, const char* sep,
                         const char* value, const char* end = "\n")
{
  std::fputs(prefix, out);
  std::fputs(label, out);
  std::fputs(sep, out);
  std::fputs(value, out);
  std::fputs(end, out);
}

void print_search_parameters(FILE* out, const char* prefix)
{
  const char* sep = (global_print_sat_mode == 2 || global_print_sat_mode == 3) ? "\t" : " ";
  const bool searches_imperfect = global_search_mode != 0;
  std::string text;

  if (global_VELTA_run) {
    std::fputs(prefix, out);
    std::fputs("   This Zerlan search has been initiated by one of the VELTA modules.\n", out);
  }
  summary_line(out, prefix, "Parameter settings used in this search:", sep, "");
  summary_line(out, prefix, "Input file name:                        ", sep, global_input_filename.c_str());
  if (!global_output_filename.empty())
    summary_line(out, prefix, "Output file name:                       ", sep, global_output_filename.c_str());

  text = number2str(static_cast<unsigned int>(global_sequence_from));
  text += " - ";
  text += global_sequence_to == -1 ? "last sequence" : number2str(static_cast<unsigned int>(global_sequence_to));
  summary_line(out, prefix, "   Sequence range to process:           ", sep, text.c_str());

  const char* searched = global_search_mode == 0   ? "exact repeats\n"
                         : global_search_mode == 1 ? "exact repeats which are extended to imperfect repeats\n"
                                                   : "imperfect repeats\n";
  summary_line(out, prefix, "   Satellites searched for:             ", sep, searched, "");
  if (searches_imperfect) {
    summary_line(out, prefix, "   Recursion depth:                     ", sep,
                 number2str(global_maximum_recursion_depth));
    summary_line(out, prefix, "   Maximum score reduction:             ", sep,
                 global_maximum_scorereduction == SCOREREDUCTION_UNLIMITED
                     ? "-" : number2str(global_maximum_scorereduction));
  }
  summary_line(out, prefix, "   Minimum unit length:                 ", sep, number2str(global_min_unit_length));
  summary_line(out, prefix, "   Maximum unit length:                 ", sep, number2str(global_max_unit_length));

  text = "maximum (";
  text += number2str(global_min_score);
  text += ", ";
  text += number2str(global_min_score_a);
  text += "+";
  text += number2str(global_min_score_bx);
  text += "*unitlength )\n";
  summary_line(out, prefix, "   Minimum score:                       ", sep, text.c_str(), "");

  text = "maximum (";
  text += number2str(global_min_length);
  text += ", ";
  text += number2str(global_min_length_a);
  text += "+";
  text += number2str(global_min_length_bx);
  text += "*unitlength )\n";
  summary_line(out, prefix, "   Minimum length:                      ", sep, text.c_str(), "");

  text = number2str(global_min_perfection);
  text += " % - ";
  text += number2str(global_max_perfection);
  text += " %";
  summary_line(out, prefix, "   Min. to max. perfection range:       ", sep, text.c_str());

  summary_line(out, prefix, "   Treat N's as:                        ", sep,
               global_treat_Ns_as_missense ? "missense" : "neutral");
  summary_line(out, prefix, "   Max. succesive N's allowed:          ", sep, number2str(global_Ns_allowed_in_a_row));
  if (searches_imperfect) {
    summary_line(out, prefix, "   Mismatch score:                      ", sep, number2str(global_mismatch_score));
    summary_line(out, prefix, "   Indel score:                         ", sep, number2str(global_indel_score));
  }
  summary_line(out, prefix, "   Show shorter (not longer) of two repeat variants with equal score: ", sep,
               global_prefer_longer_repeat != 0 ? "no" : "yes");
  summary_line(out, prefix, "   Number of flanking nucletides:       ", sep, number2str(global_flanking));
  summary_line(out, prefix, "   Remove mostly overlapping satellites:", sep,
               global_remove_mostly_hidden ? "yes" : "no");
  summary_line(out, prefix, "   Write file with masked seq.          ", sep,
               global_mask_lower ? "yes, masked with lower cases letters"
               : global_mask_X   ? "yes, masked with Xs" : "no");
  summary_line(out, prefix, "   Computing perfections treat N's:     ", sep,
               global_N_and_perfection_mode == 0   ? "asMismatch"
               : global_N_and_perfection_mode == 1 ? "asNeutral" : "asMatch");
  summary_line(out, prefix, "   Report units as:                     ", sep,
               global_report_unit_mode == 0   ? "as they are"
               : global_report_unit_mode == 1 ? "alphabetical normal form"
                                              : "alphabetical normal form using reverse complement");
  static const char* const format_names[] = {"zerlan format", "extended zerlan format", "gff",
                                             "one-per-line format", "fasta format"};
  summary_line(out, prefix, "   Output format:                       ", sep,
               global_print_sat_mode >= 0 && global_print_sat_mode <= 4 ? format_names[global_print_sat_mode] : "");
  summary_line(out, prefix, "   Print sequence mode:                 ", sep,
               global_print_sat_seq_mode == 0   ? "don't print sequence"
               : global_print_sat_seq_mode == 1 ? "print sequence" : "print alignment");
  if (global_print_sat_mode == 2 || global_print_sat_mode == 3)
    summary_line(out, prefix, "   Print seq. info as comment:          ", sep,
                 global_sequenceInfoAsComment ? "yes" : "no");
  summary_line(out, prefix, "   Convert gaps and *s to Ns :          ", sep, global_gaps_to_Ns ? "yes" : "no");
}
