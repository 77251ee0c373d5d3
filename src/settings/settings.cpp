#include "settings/settings.h"

#include "settings/number2cstring.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>
#include <tclap/CmdLine.h>
#include <vector>

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

// A minimum score or length: maximum(name, name_a + name_b * unit length),
// three options that share one help text.
struct ThresholdOptions {
  TCLAP::ValueArg<float> b;
  TCLAP::ValueArg<int> a;
  TCLAP::ValueArg<int> base;

  ThresholdOptions(const char* flag, const std::string& name, const std::string& what, int base_default,
                   int a_default, float b_default)
      : b("", name + "_b", help(name, what, name + "_b", number2str(b_default)), false, b_default, "float"),
        a("", name + "_a", help(name, what, name + "_a", number2str(a_default)), false, a_default, "int"),
        base(flag, name, help(name, what, name, number2str(base_default)), false, base_default, "int")
  {
  }

  static std::string help(const std::string& name, const std::string& what, const std::string& option,
                          const std::string& default_value)
  {
    return "The minimum " + what + " of a repeat is determined with: maximum( " + name + ", " + name + "_a + " +
           name + "_b*(unit-length) ). Default value of " + option + ": " + default_value;
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
static int read_thread_count(Settings& settings)
{
  const char* text = std::getenv("ZERLAN_THREADS");
  if (!text) {
    cpu_set_t cpus;
    int count = sched_getaffinity(0, sizeof cpus, &cpus) == 0 ? CPU_COUNT(&cpus) : 1;
    settings.threads = std::min<unsigned int>(std::max(count, 1), MAX_THREADS);
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
  settings.threads = static_cast<unsigned int>(std::min<long long>(value, MAX_THREADS));
  return 0;
}

// Splits a path into its folder (with the trailing '/', or "./") and name.
static std::pair<std::string, std::string> folder_and_name(const std::string& path)
{
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos)
    return {"./", path};
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

// Whether two paths lead to the same file: the same device and inode, or,
// for a file not there yet, the same name in the same folder once symbolic
// links are followed (a link may point to the file the run would create).
static bool same_file(std::string a, std::string b)
{
  struct stat sa, sb;
  const bool a_exists = stat(a.c_str(), &sa) == 0, b_exists = stat(b.c_str(), &sb) == 0;
  if (a_exists || b_exists)
    return a_exists && b_exists && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
  for (std::string* path : {&a, &b}) {
    char target[4096];
    ssize_t n;
    for (int links = 0; links < 40 && (n = readlink(path->c_str(), target, sizeof target - 1)) > 0; ++links) {
      target[n] = 0;
      *path = target[0] == '/' ? std::string(target) : folder_and_name(*path).first + target;
    }
  }
  const auto [a_folder, a_name] = folder_and_name(a);
  const auto [b_folder, b_name] = folder_and_name(b);
  return a_name == b_name && stat(a_folder.c_str(), &sa) == 0 && stat(b_folder.c_str(), &sb) == 0 &&
         sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

int read_and_init_parameters(int argc, char** argv, Settings& settings)
{
  settings = Settings();

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
        "older programs is treated in the same way as gaps.)", settings.gaps_to_Ns);
    SwitchArg sequenceInfoAsComment("", "sequenceInfoAsComment",
        "In the GFF and one-per-line output modes, show additional sequence information in the output "
        "file as a comment.", settings.sequenceInfoAsComment);
    ValueArg<int> succN("N", "succN",
        "The maximum number of successive N's allowed in a satellite. Default: 2.",
        false, settings.Ns_allowed_in_a_row, "int");
    SwitchArg NsAsMissense("", "NsAsMissense",
        "Treat N's as missense. Default: Treat N's as neutral with score 0.", settings.treat_Ns_as_missense);
    SwitchArg preferShorterRepeats("", "preferShorterRepeats",
        "For two alignments of the same repeat that have the same score, Zerlan reports by default (since "
        "version 3.3.9) the longer alignment. The longer alignment will have more mismatches/gaps and a lower "
        "perfection. With this option, Zerlan will choose the shorter of the two alignments instead of the "
        "longer. Zerlan will run faster with this option.", settings.prefer_longer_repeat == 0);
    ValueArg<int> reportUnit("", "reportUnit",
        "Repeat units can be reported in three different modes. 0: asIs, 1: Alphabetical normal form, 2: "
        "Alphabetical normal form also considering the reverse complement. Default: 2",
        false, settings.report_unit_mode, "int");
    ValueArg<int> NPerfectionMode("", "NPerfectionMode",
        "Zerlan provides different modes to treat N's when computing the perfection of a repeat. 0: "
        "asMismatch, 1: asNeutral, 2: asMatch. Default: 0",
        false, settings.N_and_perfection_mode, "int");
    ValueArg<int> printRepeatSeqMode("", "printRepeatSeqMode",
        "Zerlan provides different modes to print the repeat sequence along with its information. 0: don't "
        "print sequence, 1: print sequence, 2: print alignment.",
        false, settings.print_sat_seq_mode, "int");
    ValueArg<int> outputFormat("", "outputFormat",
        "Zerlan provides different output formats for printing the repeat information. 0: Zerlan output "
        "format, 1: extended Zerlan output format, 2: gff - general feature format, 3: one-per-line format, "
        "4: as fasta sequence",
        false, settings.print_sat_mode, "int");
    SwitchArg maskX("", "maskX",
        "Writes the sequences to a file with the extension \".masked\" in which repeats are masked by the X "
        "character. Currently, this option has the sometimes unwanted side effect of changing all ambiguity "
        "codes to Ns.", settings.mask_X);
    SwitchArg VELTArun("", "VELTArun",
        "This option tells Zerlan that it called from VELTA, which slighly alters the output, mostly to be "
        "backward compatible with older versions with less lines of output.", settings.VELTA_run);
    SwitchArg maskLower("", "maskLower",
        "Writes the sequences to a file with the extension \".masked\" in which repeats are masked by lower "
        "case letters. Currently, this option has the sometimes unwanted side effect of changing all "
        "ambiguity codes to Ns.", settings.mask_lower);
    ValueArg<int> flanking("f", "flanking",
        "If the satellite sequence is printed, this is the number of flanking nucleotides to be printed to "
        "the left and right of it. Default: 0",
        false, settings.flanking, "int");
    ValueArg<float> minPerfection("", "minPerfection",
        "Minimum perfection of a satellites. Default: 0.", false, settings.min_perfection, "float");
    ValueArg<float> maxPerfection("", "maxPerfection",
        "Maximum perfection of a satellites. Default: 100.", false, settings.max_perfection, "float");
    SwitchArg dontRemoveMostlyOverlapping("D", "dontRemoveMostlyOverlapping",
        "Zerlan sometimes finds repeats that partially or completely overlap with other repeats, e.g. if "
        "alignments with alternative repeat patterns exist at the same locus in a sequence. The default is "
        "to remove one of any two mostly overlapping repeats in favour of that repeat with the highest "
        "score. With this option, Zerlan reports also repeats that mostly overlap with higher scoring "
        "repeats.", settings.remove_mostly_hidden);
    ValueArg<int> firstSeq("", "firstSeq",
        "Number of first sequence to be processed in this run.", false, settings.sequence_from, "int");
    ValueArg<int> lastSeq("", "lastSeq",
        "Number of last sequence to be processed in this run.", false, settings.sequence_to, "int");
    ValueArg<int> maximum_score_reduction("R", "maximum_score_reduction",
        "The maximum amount the score can be reduced before search is aborded. Typical: 6*mismatch-penalty "
        "or infinite. Default: infinite",
        false, settings.maximum_scorereduction, "int");
    ValueArg<int> recursion("r", "recursion",
        "The recursion depth used in the search. Values in the range 3 to 7 are recommended. A value of 0 "
        "implies a search for perfect repeats only.",
        false, settings.maximum_recursion_depth, "int");
    ValueArg<unsigned int> minUnitLen("u", "minUnitLen", "Minimum unit length. Default: 1",
        false, settings.min_unit_length, "int");
    ValueArg<unsigned int> maxUnitLen("U", "maxUnitLen", "Maximum unit length. Default: 10",
        false, settings.max_unit_length, "int");
    ThresholdOptions minLength("l", "minLength", "length", settings.min_length, settings.min_length_a,
                               settings.min_length_bx);
    ThresholdOptions minScore("s", "minScore", "score", settings.min_score, settings.min_score_a,
                              settings.min_score_bx);
    ValueArg<int> mismatchScore("m", "mismatchScore",
        "Score for mismatch - must be negative. Default: -5. Match score is fixed to one.",
        false, settings.mismatch_score, "int");
    ValueArg<int> indelScore("g", "indelScore",
        "Score for indels - must be negative. Default: -5. Match score is fixed to one.",
        false, settings.indel_score, "int");
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
      &maximum_score_reduction, &recursion, &minUnitLen, &maxUnitLen, &minLength.b, &minLength.a,
      &minLength.base, &minScore.b, &minScore.a, &minScore.base, &mismatchScore, &indelScore, &searchMode, &iofiles,
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
      settings.input_filename = files[0];
    } else if (files.size() == 2) {
      settings.input_filename = files[0];
      settings.output_filename = files[1];
    }
    // Three or more names: neither is taken, and opening the empty input name fails later.

    settings.sequence_from = firstSeq.getValue();
    settings.sequence_to = lastSeq.getValue();
    settings.maximum_recursion_depth = recursion.getValue();
    settings.maximum_scorereduction = maximum_score_reduction.getValue();
    settings.Ns_allowed_in_a_row = succN.getValue();
    settings.treat_Ns_as_missense = NsAsMissense.getValue();
    settings.remove_mostly_hidden = dontRemoveMostlyOverlapping.getValue();
    settings.min_unit_length = minUnitLen.getValue();
    settings.max_unit_length = maxUnitLen.getValue();
    settings.min_length = minLength.base.getValue();
    settings.min_length_a = minLength.a.getValue();
    settings.min_length_bx = minLength.b.getValue();
    settings.min_score = minScore.base.getValue();
    settings.min_score_a = minScore.a.getValue();
    settings.min_score_bx = minScore.b.getValue();
    settings.min_perfection = minPerfection.getValue();
    settings.max_perfection = maxPerfection.getValue();
    settings.mismatch_score = mismatchScore.getValue();
    settings.indel_score = indelScore.getValue();
    settings.mask_lower = maskLower.getValue();
    settings.flanking = flanking.getValue();
    settings.mask_X = maskX.getValue();
    settings.VELTA_run = VELTArun.getValue();
    settings.sequenceInfoAsComment = sequenceInfoAsComment.getValue();
    settings.gaps_to_Ns = convert_gaps_to_Ns.getValue();

    settings.prefer_longer_repeat = preferShorterRepeats.getValue() ? 0 : 1;
    if (settings.mask_lower)
      settings.mask_X = false;
    const std::string& mode = searchMode.getValue();
    settings.search_mode = mode == "exact" ? 0 : mode == "extendExact" ? 1 : 2;

    if (!mode_in_range(outputFormat.getValue(), 4, "An outputFormat with a value of ", " is unknown.\n\n"))
      return -2;
    settings.print_sat_mode = outputFormat.getValue();
    if (!mode_in_range(printRepeatSeqMode.getValue(), 2, "A printRepeatSeqMode with a value of ",
                       " is unknown.\n\n"))
      return -2;
    settings.print_sat_seq_mode = printRepeatSeqMode.getValue();
    // The wording of this message is ours; it follows the two above.
    if (!mode_in_range(NPerfectionMode.getValue(), 2, "An NPerfectionMode with a value of ",
                       " is unknown.\n\n"))
      return -2;
    settings.N_and_perfection_mode = NPerfectionMode.getValue();
    if (!mode_in_range(reportUnit.getValue(), 2, "An option value of ",
                       " for the reportUnit option is unknown.\n\n"))
      return -2;
    settings.report_unit_mode = reportUnit.getValue();
  } catch (TCLAP::ArgException& e) {
    error_message("Error: ", e.error().c_str(), " for arg ");
    error_message(e.argId().c_str(), "\n");
    return -1;
  }

  // Unit-length-1 thresholds before rounding up, in single precision.
  float S = std::max(static_cast<float>(settings.min_score),
                     static_cast<float>(settings.min_score_a) + settings.min_score_bx);
  float L = std::max(static_cast<float>(settings.min_length),
                     static_cast<float>(settings.min_length_a) + settings.min_length_bx);
  if (S < 2 && L < 2) {
    error_message("Sorry, either the minimum score or the minimum length must be larger.\n");
    return -1;
  }
  if (settings.mismatch_score > -2) {
    error_message("Sorry, the mismatch score must be smaller or equal to -2.\n");
    return -1;
  }
  if (settings.indel_score > -2) {
    error_message("Sorry, the indel score must be smaller or equal to -2.\n");
    return -1;
  }
  if (settings.Ns_allowed_in_a_row < 0)
    settings.Ns_allowed_in_a_row = 0;
  if (settings.flanking < 0)
    settings.flanking = 0;
  if (settings.maximum_recursion_depth <= 0) {
    error_message("Sorry, the recursion depth must be greater than 0.\n"
                  "A value of 0 would corresponds to a perfect search.\n");
    return -1;
  }
  if (settings.max_unit_length < settings.min_unit_length) {
    error_message("I think you have made a mistake here: The maximum unit length must be greater\n"
                  "or equal to the minimum unit length.\n");
    return -1;
  }
  // The masked copy is written beside the input file, and standard input
  // has no place beside it.
  if (settings.input_filename == "-" && (settings.mask_X || settings.mask_lower)) {
    error_message("Sorry, the options --maskX and --maskLower write the masked sequences to a file beside\n"
                  "the input file. They cannot be used when the input is read from standard input (\"-\").\n");
    return -1;
  }
  // Writing the report into the masked file would leave neither complete.
  if ((settings.mask_X || settings.mask_lower) && !settings.output_filename.empty() &&
      same_file(settings.output_filename, settings.input_filename + ".masked")) {
    error_message("Sorry, the output file \n   \"", settings.output_filename.c_str(),
                  "\"\nis the file of masked sequences that this run writes beside the input file.\n");
    return -1;
  }
  return read_thread_count(settings);
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

void print_search_parameters(FILE* out, const char* prefix, const Settings& settings)
{
  const char* sep = (settings.print_sat_mode == 2 || settings.print_sat_mode == 3) ? "\t" : " ";
  const bool searches_imperfect = settings.search_mode != 0;
  std::string text;

  if (settings.VELTA_run) {
    std::fputs(prefix, out);
    std::fputs("   This Zerlan search has been initiated by one of the VELTA modules.\n", out);
  }
  summary_line(out, prefix, "Parameter settings used in this search:", sep, "");
  summary_line(out, prefix, "Input file name:                        ", sep, settings.input_filename.c_str());
  if (!settings.output_filename.empty())
    summary_line(out, prefix, "Output file name:                       ", sep, settings.output_filename.c_str());

  text = number2str(static_cast<unsigned int>(settings.sequence_from));
  text += " - ";
  text += settings.sequence_to == -1 ? "last sequence" : number2str(static_cast<unsigned int>(settings.sequence_to));
  summary_line(out, prefix, "   Sequence range to process:           ", sep, text.c_str());

  const char* searched = settings.search_mode == 0   ? "exact repeats\n"
                         : settings.search_mode == 1 ? "exact repeats which are extended to imperfect repeats\n"
                                                   : "imperfect repeats\n";
  summary_line(out, prefix, "   Satellites searched for:             ", sep, searched, "");
  if (searches_imperfect) {
    summary_line(out, prefix, "   Recursion depth:                     ", sep,
                 number2str(settings.maximum_recursion_depth));
    summary_line(out, prefix, "   Maximum score reduction:             ", sep,
                 settings.maximum_scorereduction == SCOREREDUCTION_UNLIMITED
                     ? "-" : number2str(settings.maximum_scorereduction));
  }
  summary_line(out, prefix, "   Minimum unit length:                 ", sep, number2str(settings.min_unit_length));
  summary_line(out, prefix, "   Maximum unit length:                 ", sep, number2str(settings.max_unit_length));

  text = "maximum (";
  text += number2str(settings.min_score);
  text += ", ";
  text += number2str(settings.min_score_a);
  text += "+";
  text += number2str(settings.min_score_bx);
  text += "*unitlength )\n";
  summary_line(out, prefix, "   Minimum score:                       ", sep, text.c_str(), "");

  text = "maximum (";
  text += number2str(settings.min_length);
  text += ", ";
  text += number2str(settings.min_length_a);
  text += "+";
  text += number2str(settings.min_length_bx);
  text += "*unitlength )\n";
  summary_line(out, prefix, "   Minimum length:                      ", sep, text.c_str(), "");

  text = number2str(settings.min_perfection);
  text += " % - ";
  text += number2str(settings.max_perfection);
  text += " %";
  summary_line(out, prefix, "   Min. to max. perfection range:       ", sep, text.c_str());

  summary_line(out, prefix, "   Treat N's as:                        ", sep,
               settings.treat_Ns_as_missense ? "missense" : "neutral");
  summary_line(out, prefix, "   Max. succesive N's allowed:          ", sep, number2str(settings.Ns_allowed_in_a_row));
  if (searches_imperfect) {
    summary_line(out, prefix, "   Mismatch score:                      ", sep, number2str(settings.mismatch_score));
    summary_line(out, prefix, "   Indel score:                         ", sep, number2str(settings.indel_score));
  }
  summary_line(out, prefix, "   Show shorter (not longer) of two repeat variants with equal score: ", sep,
               settings.prefer_longer_repeat != 0 ? "no" : "yes");
  summary_line(out, prefix, "   Number of flanking nucletides:       ", sep, number2str(settings.flanking));
  summary_line(out, prefix, "   Remove mostly overlapping satellites:", sep,
               settings.remove_mostly_hidden ? "yes" : "no");
  summary_line(out, prefix, "   Write file with masked seq.          ", sep,
               settings.mask_lower ? "yes, masked with lower cases letters"
               : settings.mask_X   ? "yes, masked with Xs" : "no");
  summary_line(out, prefix, "   Computing perfections treat N's:     ", sep,
               settings.N_and_perfection_mode == 0   ? "asMismatch"
               : settings.N_and_perfection_mode == 1 ? "asNeutral" : "asMatch");
  summary_line(out, prefix, "   Report units as:                     ", sep,
               settings.report_unit_mode == 0   ? "as they are"
               : settings.report_unit_mode == 1 ? "alphabetical normal form"
                                              : "alphabetical normal form using reverse complement");
  static const char* const format_names[] = {"zerlan format", "extended zerlan format", "gff",
                                             "one-per-line format", "fasta format"};
  summary_line(out, prefix, "   Output format:                       ", sep,
               settings.print_sat_mode >= 0 && settings.print_sat_mode <= 4 ? format_names[settings.print_sat_mode] : "");
  summary_line(out, prefix, "   Print sequence mode:                 ", sep,
               settings.print_sat_seq_mode == 0   ? "don't print sequence"
               : settings.print_sat_seq_mode == 1 ? "print sequence" : "print alignment");
  if (settings.print_sat_mode == 2 || settings.print_sat_mode == 3)
    summary_line(out, prefix, "   Print seq. info as comment:          ", sep,
                 settings.sequenceInfoAsComment ? "yes" : "no");
  summary_line(out, prefix, "   Convert gaps and *s to Ns :          ", sep, settings.gaps_to_Ns ? "yes" : "no");
}
