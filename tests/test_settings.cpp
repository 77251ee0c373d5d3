// Settings: defaults, command-line validation, the settings summary, the
// number formatter and the per-unit-length threshold tables.

#include "search/CSearchController.h"
#include "sequence/CSequence_Mol.h"
#include "settings/global-types-and-parameters.h"
#include "settings/number2cstring.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

class SettingsTest : public ::testing::Test {
 protected:
  void SetUp() override
  {
    global_input_filename.clear();
    global_output_filename.clear();
    init_param();
  }
  void TearDown() override
  {
    global_input_filename.clear();
    global_output_filename.clear();
    init_param();
  }

  // Runs the command-line processing on argv = "zerlan" + args; its
  // standard error ends up in err.
  int parse(std::vector<std::string> args, const std::string& program = "zerlan")
  {
    args.insert(args.begin(), program);
    std::vector<char*> argv;
    for (std::string& a : args)
      argv.push_back(&a[0]);
    argv.push_back(nullptr);
    ::testing::internal::CaptureStderr();
    int result = read_and_init_parameters(static_cast<int>(args.size()), argv.data());
    err = ::testing::internal::GetCapturedStderr();
    return result;
  }

  std::string err;
};

std::string summary(const char* prefix)
{
  char* buf = nullptr;
  size_t len = 0;
  FILE* out = open_memstream(&buf, &len);
  print_search_parameters(out, prefix);
  std::fclose(out);
  std::string text(buf, len);
  std::free(buf);
  return text;
}

// The summary as label/value rows; rendering adds prefix, separator and line feed.
using Rows = std::vector<std::pair<std::string, std::string>>;

const char* const RECURSION = "   Recursion depth:                     ";
const char* const SCORE_REDUCTION = "   Maximum score reduction:             ";
const char* const MISMATCH = "   Mismatch score:                      ";
const char* const INDEL = "   Indel score:                         ";
const char* const SEARCHED = "   Satellites searched for:             ";
const char* const OUTPUT_FORMAT = "   Output format:                       ";
const char* const PRINT_SEQ_MODE = "   Print sequence mode:                 ";
const char* const SEQ_INFO = "   Print seq. info as comment:          ";
const char* const INPUT_FILE = "Input file name:                        ";
const char* const OUTPUT_FILE = "Output file name:                       ";

// The summary of the default settings with input file "in.fa".
Rows default_rows()
{
  return {
      {"Parameter settings used in this search:", ""},
      {INPUT_FILE, "in.fa"},
      {"   Sequence range to process:           ", "1 - last sequence"},
      {SEARCHED, "imperfect repeats"},
      {RECURSION, "5"},
      {SCORE_REDUCTION, "-"},
      {"   Minimum unit length:                 ", "1"},
      {"   Maximum unit length:                 ", "10"},
      {"   Minimum score:                       ", "maximum (6, 0+1*unitlength )"},
      {"   Minimum length:                      ", "maximum (0, 0+0*unitlength )"},
      {"   Min. to max. perfection range:       ", "0 % - 100 %"},
      {"   Treat N's as:                        ", "neutral"},
      {"   Max. succesive N's allowed:          ", "2"},
      {MISMATCH, "-5"},
      {INDEL, "-5"},
      {"   Show shorter (not longer) of two repeat variants with equal score: ", "no"},
      {"   Number of flanking nucletides:       ", "0"},
      {"   Remove mostly overlapping satellites:", "yes"},
      {"   Write file with masked seq.          ", "no"},
      {"   Computing perfections treat N's:     ", "asMismatch"},
      {"   Report units as:                     ", "alphabetical normal form using reverse complement"},
      {OUTPUT_FORMAT, "extended zerlan format"},
      {PRINT_SEQ_MODE, "print alignment"},
      {"   Convert gaps and *s to Ns :          ", "no"},
  };
}

std::string render(const Rows& rows, const std::string& prefix, const std::string& sep)
{
  std::string text;
  for (const auto& row : rows)
    text += prefix + row.first + sep + row.second + "\n";
  return text;
}

Rows::iterator find_row(Rows& rows, const std::string& label)
{
  for (auto it = rows.begin(); it != rows.end(); ++it)
    if (it->first == label)
      return it;
  ADD_FAILURE() << "no row " << label;
  return rows.end();
}

void set_row(Rows& rows, const std::string& label, const std::string& value) { find_row(rows, label)->second = value; }

void erase_row(Rows& rows, const std::string& label) { rows.erase(find_row(rows, label)); }

void insert_after(Rows& rows, const std::string& after, const std::string& label, const std::string& value)
{
  rows.insert(find_row(rows, after) + 1, {label, value});
}

} // namespace

// ---------------------------------------------------------------------------
// Defaults

TEST_F(SettingsTest, InitParamGivesTheDefaults)
{
  global_sequence_from = 99;
  global_min_score_bx = 7.5f;
  global_mask_lower = true;
  init_param();
  EXPECT_EQ(global_sequence_from, 1);
  EXPECT_EQ(global_sequence_to, -1);
  EXPECT_EQ(global_search_mode, 2);
  EXPECT_EQ(global_N_and_perfection_mode, 0);
  EXPECT_EQ(global_report_unit_mode, 2);
  EXPECT_EQ(global_print_sat_seq_mode, 2);
  EXPECT_EQ(global_print_sat_mode, 1);
  EXPECT_FALSE(global_sequenceInfoAsComment);
  EXPECT_EQ(global_flanking, 0);
  EXPECT_EQ(global_maximum_recursion_depth, 5);
  EXPECT_EQ(global_maximum_scorereduction, 2147483647);
  EXPECT_EQ(global_min_unit_length, 1u);
  EXPECT_EQ(global_max_unit_length, 10u);
  EXPECT_FALSE(global_treat_Ns_as_missense);
  EXPECT_EQ(global_Ns_allowed_in_a_row, 2);
  EXPECT_EQ(global_min_score, 6);
  EXPECT_EQ(global_min_score_a, 0);
  EXPECT_EQ(global_min_score_bx, 1.0f);
  EXPECT_EQ(global_min_length, 0);
  EXPECT_EQ(global_min_length_a, 0);
  EXPECT_EQ(global_min_length_bx, 0.0f);
  EXPECT_EQ(global_min_perfection, 0.0f);
  EXPECT_EQ(global_max_perfection, 100.0f);
  EXPECT_EQ(global_mismatch_score, -5);
  EXPECT_EQ(global_indel_score, -5);
  EXPECT_EQ(global_prefer_longer_repeat, 1);
  EXPECT_TRUE(global_remove_mostly_hidden);
  EXPECT_FALSE(global_mask_X);
  EXPECT_FALSE(global_mask_lower);
  EXPECT_FALSE(global_gaps_to_Ns);
  EXPECT_FALSE(global_VELTA_run);
}

TEST_F(SettingsTest, InputFileAloneKeepsEveryDefault)
{
  global_min_score = 42; // overwritten by the defaults first
  ASSERT_EQ(parse({"in.fa"}), 0);
  EXPECT_EQ(err, "");
  EXPECT_EQ(global_input_filename, "in.fa");
  EXPECT_EQ(global_output_filename, "");
  EXPECT_EQ(global_min_score, 6);
  EXPECT_EQ(global_search_mode, 2);
  EXPECT_EQ(global_sequence_to, -1);
  EXPECT_EQ(global_prefer_longer_repeat, 1);
  EXPECT_TRUE(global_remove_mostly_hidden);
  EXPECT_EQ(global_print_sat_mode, 1);
  EXPECT_EQ(global_report_unit_mode, 2);
  EXPECT_EQ(summary(""), render(default_rows(), "", " "));
}

// ---------------------------------------------------------------------------
// Command line: file names

TEST_F(SettingsTest, SecondFileNameIsTheOutput)
{
  ASSERT_EQ(parse({"in.fa", "out.txt"}), 0);
  EXPECT_EQ(global_input_filename, "in.fa");
  EXPECT_EQ(global_output_filename, "out.txt");
}

TEST_F(SettingsTest, ThreeFileNamesSetNeither)
{
  ASSERT_EQ(parse({"a.fa", "b.txt", "c.txt"}), 0);
  EXPECT_EQ(global_input_filename, "");
  EXPECT_EQ(global_output_filename, "");
}

TEST_F(SettingsTest, NoInputFileIsRefusedNamingTheProgram)
{
  EXPECT_EQ(parse({}, "./bin/zerlan"), -1);
  EXPECT_EQ(err, "Error: No input file has been specified. Type ./bin/zerlan --help for more information.\n");

  EXPECT_EQ(parse({"-s", "10"}), -1);
  EXPECT_EQ(err, "Error: No input file has been specified. Type zerlan --help for more information.\n");
  EXPECT_EQ(global_min_score, 6); // nothing copied yet
}

// ---------------------------------------------------------------------------
// Command line: values copied and derived

TEST_F(SettingsTest, OptionValuesReachTheirSettings)
{
  ASSERT_EQ(parse({"--firstSeq", "3", "--lastSeq", "7", "-r", "4", "-R", "30", "-N", "5", "--NsAsMissense",
                   "-u", "2", "-U", "6", "-l", "12", "--minLength_a", "3", "--minLength_b", "1.5", "-s", "9",
                   "--minScore_a", "2", "--minScore_b", "0.25", "--minPerfection", "60", "--maxPerfection",
                   "95.5", "-m", "-3", "-g", "-4", "-f", "10", "--VELTArun", "--sequenceInfoAsComment",
                   "--convert_gaps_to_Ns", "--outputFormat", "3", "--printRepeatSeqMode", "0",
                   "--NPerfectionMode", "1", "--reportUnit", "0", "in.fa"}),
            0);
  EXPECT_EQ(err, "");
  EXPECT_EQ(global_sequence_from, 3);
  EXPECT_EQ(global_sequence_to, 7);
  EXPECT_EQ(global_maximum_recursion_depth, 4);
  EXPECT_EQ(global_maximum_scorereduction, 30);
  EXPECT_EQ(global_Ns_allowed_in_a_row, 5);
  EXPECT_TRUE(global_treat_Ns_as_missense);
  EXPECT_EQ(global_min_unit_length, 2u);
  EXPECT_EQ(global_max_unit_length, 6u);
  EXPECT_EQ(global_min_length, 12);
  EXPECT_EQ(global_min_length_a, 3);
  EXPECT_EQ(global_min_length_bx, 1.5f);
  EXPECT_EQ(global_min_score, 9);
  EXPECT_EQ(global_min_score_a, 2);
  EXPECT_EQ(global_min_score_bx, 0.25f);
  EXPECT_EQ(global_min_perfection, 60.0f);
  EXPECT_EQ(global_max_perfection, 95.5f);
  EXPECT_EQ(global_mismatch_score, -3);
  EXPECT_EQ(global_indel_score, -4);
  EXPECT_EQ(global_flanking, 10);
  EXPECT_TRUE(global_VELTA_run);
  EXPECT_TRUE(global_sequenceInfoAsComment);
  EXPECT_TRUE(global_gaps_to_Ns);
  EXPECT_EQ(global_print_sat_mode, 3);
  EXPECT_EQ(global_print_sat_seq_mode, 0);
  EXPECT_EQ(global_N_and_perfection_mode, 1);
  EXPECT_EQ(global_report_unit_mode, 0);
}

TEST_F(SettingsTest, NegatedSwitchesInvertTheirSettings)
{
  ASSERT_EQ(parse({"--preferShorterRepeats", "-D", "in.fa"}), 0);
  EXPECT_EQ(global_prefer_longer_repeat, 0);
  EXPECT_FALSE(global_remove_mostly_hidden);
}

TEST_F(SettingsTest, LowerCaseMaskWinsOverX)
{
  ASSERT_EQ(parse({"--maskX", "in.fa"}), 0);
  EXPECT_TRUE(global_mask_X);
  EXPECT_FALSE(global_mask_lower);

  ASSERT_EQ(parse({"--maskX", "--maskLower", "in.fa"}), 0);
  EXPECT_FALSE(global_mask_X);
  EXPECT_TRUE(global_mask_lower);
}

TEST_F(SettingsTest, SearchModeNamesMapToCodes)
{
  const std::pair<const char*, int> cases[] = {{"exact", 0}, {"extendExact", 1}, {"imperfect", 2}};
  for (const auto& c : cases) {
    ASSERT_EQ(parse({"-M", c.first, "in.fa"}), 0) << c.first;
    EXPECT_EQ(global_search_mode, c.second) << c.first;
  }
}

TEST_F(SettingsTest, NegativeSuccessiveNsAndFlankingAreClampedSilently)
{
  ASSERT_EQ(parse({"-N", "-3", "-f", "-2", "in.fa"}), 0);
  EXPECT_EQ(err, "");
  EXPECT_EQ(global_Ns_allowed_in_a_row, 0);
  EXPECT_EQ(global_flanking, 0);
}

// ---------------------------------------------------------------------------
// Command line: mode numbers out of range (-2)

TEST_F(SettingsTest, UnknownModeNumbersAreRefused)
{
  const std::string head = "Sorry, a problem occured when parsing the command line options. ";
  struct Case {
    std::vector<std::string> args;
    std::string message;
  };
  const Case cases[] = {
      {{"--outputFormat", "5"}, head + "An outputFormat with a value of 5 is unknown.\n\n"},
      {{"--outputFormat", "-1"}, head + "An outputFormat with a value of -1 is unknown.\n\n"},
      {{"--printRepeatSeqMode", "3"}, head + "A printRepeatSeqMode with a value of 3 is unknown.\n\n"},
      {{"--printRepeatSeqMode", "-2"}, head + "A printRepeatSeqMode with a value of -2 is unknown.\n\n"},
      {{"--reportUnit", "3"}, head + "An option value of 3 for the reportUnit option is unknown.\n\n"},
      {{"--reportUnit", "-1"}, head + "An option value of -1 for the reportUnit option is unknown.\n\n"},
      // The first failing check in the order outputFormat, printRepeatSeqMode,
      // NPerfectionMode, reportUnit is the one reported.
      {{"--reportUnit", "9", "--outputFormat", "7"}, head + "An outputFormat with a value of 7 is unknown.\n\n"},
      {{"--reportUnit", "9", "--printRepeatSeqMode", "8"},
       head + "A printRepeatSeqMode with a value of 8 is unknown.\n\n"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    args.push_back("in.fa");
    EXPECT_EQ(parse(args), -2) << c.message;
    EXPECT_EQ(err, c.message);
  }
}

TEST_F(SettingsTest, UnknownNPerfectionModeNamesOptionAndValue)
{
  EXPECT_EQ(parse({"--NPerfectionMode", "3", "--reportUnit", "9", "in.fa"}), -2);
  EXPECT_EQ(err.rfind("Sorry, a problem occured when parsing the command line options. ", 0), 0u) << err;
  EXPECT_NE(err.find("NPerfectionMode"), std::string::npos) << err;
  EXPECT_NE(err.find(" 3 "), std::string::npos) << err;
  EXPECT_EQ(err.find("reportUnit"), std::string::npos) << err;
}

TEST_F(SettingsTest, ModeNumbersPassingTheirCheckAreCopiedBeforeTheFailingOne)
{
  EXPECT_EQ(parse({"--outputFormat", "4", "--printRepeatSeqMode", "1", "--NPerfectionMode", "2", "--reportUnit",
                   "3", "in.fa"}),
            -2);
  EXPECT_EQ(global_print_sat_mode, 4);
  EXPECT_EQ(global_print_sat_seq_mode, 1);
  EXPECT_EQ(global_N_and_perfection_mode, 2);
  EXPECT_EQ(global_report_unit_mode, 2); // the refused value is not copied

  EXPECT_EQ(parse({"--outputFormat", "5", "--printRepeatSeqMode", "1", "in.fa"}), -2);
  EXPECT_EQ(global_print_sat_mode, 1);
  EXPECT_EQ(global_print_sat_seq_mode, 2);
}

// ---------------------------------------------------------------------------
// Command line: refused combinations (-1)

TEST_F(SettingsTest, RefusedValuesAndTheirMessages)
{
  const std::string floor_msg = "Sorry, either the minimum score or the minimum length must be larger.\n";
  const std::string mismatch_msg = "Sorry, the mismatch score must be smaller or equal to -2.\n";
  const std::string indel_msg = "Sorry, the indel score must be smaller or equal to -2.\n";
  const std::string recursion_msg =
      "Sorry, the recursion depth must be greater than 0.\nA value of 0 would corresponds to a perfect search.\n";
  const std::string unit_msg = "I think you have made a mistake here: The maximum unit length must be greater\n"
                               "or equal to the minimum unit length.\n";
  struct Case {
    std::vector<std::string> args;
    std::string message;
  };
  const Case cases[] = {
      {{"-s", "1", "--minScore_b", "0"}, floor_msg},
      // The floor is tested before rounding up: 1.5 is below 2 although a
      // unit of length 1 would need a score of 2.
      {{"-s", "0", "--minScore_b", "1.5"}, floor_msg},
      {{"-s", "1", "--minScore_b", "0", "-l", "1", "--minLength_a", "0", "--minLength_b", "1.5"}, floor_msg},
      {{"-m", "-1"}, mismatch_msg},
      {{"-m", "0"}, mismatch_msg},
      {{"-g", "-1"}, indel_msg},
      {{"-g", "5"}, indel_msg},
      {{"-m", "-1", "-g", "-1"}, mismatch_msg},
      {{"-s", "0", "--minScore_b", "0", "-m", "-1"}, floor_msg},
      {{"-r", "0"}, recursion_msg},
      {{"-r", "-1"}, recursion_msg},
      {{"-u", "5", "-U", "4"}, unit_msg},
      {{"-U", "0"}, unit_msg},
      {{"-g", "-1", "-r", "0"}, indel_msg},
      {{"-r", "0", "-u", "5", "-U", "4"}, recursion_msg},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    args.push_back("in.fa");
    EXPECT_EQ(parse(args), -1) << ::testing::PrintToString(c.args);
    EXPECT_EQ(err, c.message) << ::testing::PrintToString(c.args);
  }
}

TEST_F(SettingsTest, AcceptedBoundaryValues)
{
  const std::vector<std::string> cases[] = {
      {"-m", "-2", "-g", "-2"},
      {"-r", "1"},
      {"-u", "4", "-U", "4"},
      {"-s", "0", "--minScore_b", "2"},
      {"-s", "1", "--minScore_a", "1", "--minScore_b", "1"},
      {"-s", "1", "--minScore_b", "0", "-l", "2"},
      {"-s", "1", "--minScore_b", "0", "--minLength_a", "1", "--minLength_b", "1"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args = c;
    args.push_back("in.fa");
    EXPECT_EQ(parse(args), 0) << ::testing::PrintToString(c) << err;
    EXPECT_EQ(err, "");
  }
}

// ---------------------------------------------------------------------------
// Settings summary

TEST_F(SettingsTest, SummaryOfTheDefaults)
{
  global_input_filename = "in.fa";
  EXPECT_EQ(summary(""),
            "Parameter settings used in this search: \n"
            "Input file name:                         in.fa\n"
            "   Sequence range to process:            1 - last sequence\n"
            "   Satellites searched for:              imperfect repeats\n"
            "   Recursion depth:                      5\n"
            "   Maximum score reduction:              -\n"
            "   Minimum unit length:                  1\n"
            "   Maximum unit length:                  10\n"
            "   Minimum score:                        maximum (6, 0+1*unitlength )\n"
            "   Minimum length:                       maximum (0, 0+0*unitlength )\n"
            "   Min. to max. perfection range:        0 % - 100 %\n"
            "   Treat N's as:                         neutral\n"
            "   Max. succesive N's allowed:           2\n"
            "   Mismatch score:                       -5\n"
            "   Indel score:                          -5\n"
            "   Show shorter (not longer) of two repeat variants with equal score:  no\n"
            "   Number of flanking nucletides:        0\n"
            "   Remove mostly overlapping satellites: yes\n"
            "   Write file with masked seq.           no\n"
            "   Computing perfections treat N's:      asMismatch\n"
            "   Report units as:                      alphabetical normal form using reverse complement\n"
            "   Output format:                        extended zerlan format\n"
            "   Print sequence mode:                  print alignment\n"
            "   Convert gaps and *s to Ns :           no\n");
  EXPECT_EQ(summary("# "), render(default_rows(), "# ", " "));
}

TEST_F(SettingsTest, TabSeparatorAndSequenceInfoLineForGffAndOnePerLine)
{
  const std::pair<int, const char*> formats[] = {{2, "gff"}, {3, "one-per-line format"}};
  for (const auto& f : formats) {
    for (bool info : {false, true}) {
      init_param();
      global_input_filename = "in.fa";
      global_print_sat_mode = f.first;
      global_sequenceInfoAsComment = info;
      Rows rows = default_rows();
      set_row(rows, OUTPUT_FORMAT, f.second);
      insert_after(rows, PRINT_SEQ_MODE, SEQ_INFO, info ? "yes" : "no");
      EXPECT_EQ(summary(""), render(rows, "", "\t")) << f.second;
      EXPECT_EQ(summary("# "), render(rows, "# ", "\t")) << f.second;
    }
  }
}

TEST_F(SettingsTest, BlankSeparatorAndNoSequenceInfoLineForOtherFormats)
{
  const std::pair<int, const char*> formats[] = {{0, "zerlan format"}, {4, "fasta format"}};
  for (const auto& f : formats) {
    init_param();
    global_input_filename = "in.fa";
    global_print_sat_mode = f.first;
    global_sequenceInfoAsComment = true;
    Rows rows = default_rows();
    set_row(rows, OUTPUT_FORMAT, f.second);
    EXPECT_EQ(summary(""), render(rows, "", " ")) << f.second;
  }
}

TEST_F(SettingsTest, ExactSearchOmitsTheExtensionLines)
{
  global_input_filename = "in.fa";
  global_search_mode = 0;
  Rows rows = default_rows();
  set_row(rows, SEARCHED, "exact repeats");
  erase_row(rows, RECURSION);
  erase_row(rows, SCORE_REDUCTION);
  erase_row(rows, MISMATCH);
  erase_row(rows, INDEL);
  EXPECT_EQ(summary(""), render(rows, "", " "));

  global_search_mode = 1;
  rows = default_rows();
  set_row(rows, SEARCHED, "exact repeats which are extended to imperfect repeats");
  EXPECT_EQ(summary(""), render(rows, "", " "));
}

TEST_F(SettingsTest, VeltaLineComesFirstWithThePrefix)
{
  global_input_filename = "in.fa";
  global_VELTA_run = true;
  const std::string velta = "   This Zerlan search has been initiated by one of the VELTA modules.\n";
  EXPECT_EQ(summary(""), velta + render(default_rows(), "", " "));
  EXPECT_EQ(summary("# "), "# " + velta + render(default_rows(), "# ", " "));
}

TEST_F(SettingsTest, OutputFileLineFollowsTheInputLine)
{
  global_input_filename = "in%s%d.fa";
  global_output_filename = "out 100%.txt";
  Rows rows = default_rows();
  set_row(rows, INPUT_FILE, "in%s%d.fa");
  insert_after(rows, INPUT_FILE, OUTPUT_FILE, "out 100%.txt");
  EXPECT_EQ(summary("# "), render(rows, "# ", " "));
}

TEST_F(SettingsTest, EachSettingShowsInItsLine)
{
  struct Case {
    std::function<void()> set;
    std::string label, value;
  };
  const Case cases[] = {
      {[] { global_sequence_from = 3, global_sequence_to = 7; }, "   Sequence range to process:           ", "3 - 7"},
      {[] { global_sequence_from = -1; }, "   Sequence range to process:           ", "4294967295 - last sequence"},
      {[] { global_sequence_to = -2; }, "   Sequence range to process:           ", "1 - 4294967294"},
      {[] { global_maximum_recursion_depth = 7; }, RECURSION, "7"},
      {[] { global_maximum_scorereduction = 30; }, SCORE_REDUCTION, "30"},
      {[] { global_maximum_scorereduction = 2147483646; }, SCORE_REDUCTION, "2147483646"},
      {[] { global_min_unit_length = 3; }, "   Minimum unit length:                 ", "3"},
      {[] { global_max_unit_length = 4000000000u; }, "   Maximum unit length:                 ", "4000000000"},
      {[] { global_min_score_bx = 0.25f; }, "   Minimum score:                       ", "maximum (6, 0+0.25*unitlength )"},
      {[] { global_min_score = -3, global_min_score_a = 12; }, "   Minimum score:                       ",
       "maximum (-3, 12+1*unitlength )"},
      {[] { global_min_length_bx = 2.0f; }, "   Minimum length:                      ", "maximum (0, 0+2*unitlength )"},
      {[] { global_min_length = 20, global_min_length_a = -4, global_min_length_bx = 0.5f; },
       "   Minimum length:                      ", "maximum (20, -4+0.5*unitlength )"},
      {[] { global_min_perfection = 50.5f, global_max_perfection = 90.0f; },
       "   Min. to max. perfection range:       ", "50.5 % - 90 %"},
      {[] { global_treat_Ns_as_missense = true; }, "   Treat N's as:                        ", "missense"},
      {[] { global_Ns_allowed_in_a_row = 0; }, "   Max. succesive N's allowed:          ", "0"},
      {[] { global_mismatch_score = -12; }, MISMATCH, "-12"},
      {[] { global_indel_score = -2; }, INDEL, "-2"},
      {[] { global_prefer_longer_repeat = 0; },
       "   Show shorter (not longer) of two repeat variants with equal score: ", "yes"},
      {[] { global_flanking = 25; }, "   Number of flanking nucletides:       ", "25"},
      {[] { global_remove_mostly_hidden = false; }, "   Remove mostly overlapping satellites:", "no"},
      {[] { global_mask_X = true; }, "   Write file with masked seq.          ", "yes, masked with Xs"},
      {[] { global_mask_lower = true; }, "   Write file with masked seq.          ",
       "yes, masked with lower cases letters"},
      {[] { global_mask_X = global_mask_lower = true; }, "   Write file with masked seq.          ",
       "yes, masked with lower cases letters"},
      {[] { global_N_and_perfection_mode = 1; }, "   Computing perfections treat N's:     ", "asNeutral"},
      {[] { global_N_and_perfection_mode = 2; }, "   Computing perfections treat N's:     ", "asMatch"},
      {[] { global_report_unit_mode = 0; }, "   Report units as:                     ", "as they are"},
      {[] { global_report_unit_mode = 1; }, "   Report units as:                     ", "alphabetical normal form"},
      {[] { global_print_sat_mode = 0; }, OUTPUT_FORMAT, "zerlan format"},
      {[] { global_print_sat_seq_mode = 0; }, PRINT_SEQ_MODE, "don't print sequence"},
      {[] { global_print_sat_seq_mode = 1; }, PRINT_SEQ_MODE, "print sequence"},
      {[] { global_gaps_to_Ns = true; }, "   Convert gaps and *s to Ns :          ", "yes"},
  };
  for (const Case& c : cases) {
    init_param();
    global_input_filename = "in.fa";
    c.set();
    Rows rows = default_rows();
    set_row(rows, c.label, c.value);
    EXPECT_EQ(summary(""), render(rows, "", " ")) << c.label << c.value;
  }
}

TEST_F(SettingsTest, SummaryAfterACommandLine)
{
  ASSERT_EQ(parse({"--firstSeq", "3", "--lastSeq", "7", "-R", "30", "--outputFormat", "3", "--maskX", "--maskLower",
                   "--minScore_b", "0.25", "--minLength_b", "2", "in.fa", "out.txt"}),
            0);
  Rows rows = default_rows();
  insert_after(rows, INPUT_FILE, OUTPUT_FILE, "out.txt");
  set_row(rows, "   Sequence range to process:           ", "3 - 7");
  set_row(rows, SCORE_REDUCTION, "30");
  set_row(rows, "   Minimum score:                       ", "maximum (6, 0+0.25*unitlength )");
  set_row(rows, "   Minimum length:                      ", "maximum (0, 0+2*unitlength )");
  set_row(rows, "   Write file with masked seq.          ", "yes, masked with lower cases letters");
  set_row(rows, OUTPUT_FORMAT, "one-per-line format");
  insert_after(rows, PRINT_SEQ_MODE, SEQ_INFO, "no");
  EXPECT_EQ(summary("# "), render(rows, "# ", "\t"));
}

// ---------------------------------------------------------------------------
// Number formatter

TEST(Number2Str, FormatsIntoTheSharedBuffer)
{
  EXPECT_STREQ(number2str(0), "0");
  EXPECT_STREQ(number2str(-5), "-5");
  EXPECT_STREQ(number2str(INT_MIN), "-2147483648");
  EXPECT_STREQ(number2str(INT_MAX), "2147483647");
  EXPECT_STREQ(number2str(4294967295u), "4294967295");
  EXPECT_STREQ(number2str(0u), "0");
  EXPECT_STREQ(number2str(1.0f), "1");
  EXPECT_STREQ(number2str(0.5f), "0.5");
  EXPECT_STREQ(number2str(0.25f), "0.25");
  EXPECT_STREQ(number2str(100.0f), "100");
  EXPECT_STREQ(number2str(-2.5f), "-2.5");
  EXPECT_STREQ(number2str(1234567.0f), "1.23457e+06");
  EXPECT_STREQ(number2str(0.00001f), "1e-05");

  const char* first = number2str(12);
  EXPECT_EQ(first, number);
  const char* second = number2str(34u);
  EXPECT_EQ(second, first);
  EXPECT_STREQ(first, "34"); // every call overwrites the previous result
}

// ---------------------------------------------------------------------------
// Threshold tables of the search controller. They are built once per
// process; release_tables() lets each test build them from its own settings.

namespace {

class ThresholdTablesTest : public ::testing::Test {
 protected:
  void SetUp() override
  {
    init_param();
    CSearchController::release_tables();
  }
  void TearDown() override
  {
    // Leave nothing built from this test's settings for later tests.
    CSearchController::release_tables();
    init_param();
  }

  static std::vector<int32_t> table(const int32_t* t, size_t first, size_t last)
  {
    return std::vector<int32_t>(t + first, t + last + 1);
  }

  CSequence_Mol seq;
};

} // namespace

TEST_F(ThresholdTablesTest, DefaultTables)
{
  CSearchController controller(1, seq);
  using V = std::vector<int32_t>;
  EXPECT_EQ(table(CSearchController::minScores_user, 1, 10), (V{6, 6, 6, 6, 6, 6, 7, 8, 9, 10}));
  EXPECT_EQ(table(CSearchController::minLengths_user, 1, 10), (V(10, 0)));
  EXPECT_EQ(table(CSearchController::minScores_intern, 1, 10), (V{4, 4, 4, 4, 5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(table(CSearchController::minLengths_intern, 0, 10), (V(11, 0)));
  EXPECT_EQ(CSearchController::minScores, CSearchController::minScores_user);
  EXPECT_EQ(CSearchController::minLengths, CSearchController::minLengths_user);
}

TEST_F(ThresholdTablesTest, FractionalFactorIsRoundedUpBeforeTheFloor)
{
  global_min_score = 4;
  global_min_score_a = 3;
  global_min_score_bx = 0.5f;
  CSearchController controller(1, seq);
  // k = 1: max(4, ceil 3.5); k = 3: ceil 4.5; k = 10: 3 + 5.
  EXPECT_EQ(CSearchController::minScores_user[1], 4);
  EXPECT_EQ(CSearchController::minScores_user[2], 4);
  EXPECT_EQ(CSearchController::minScores_user[3], 5);
  EXPECT_EQ(CSearchController::minScores_user[4], 5);
  EXPECT_EQ(CSearchController::minScores_user[10], 8);
}

TEST_F(ThresholdTablesTest, FloorDecidesWhenTheFormulaIsNegative)
{
  global_min_score = 3;
  global_min_score_a = -10;
  global_min_score_bx = 1.0f;
  CSearchController controller(1, seq);
  EXPECT_EQ(CSearchController::minScores_user[2], 3);
  EXPECT_EQ(CSearchController::minScores_user[10], 3);
}

TEST_F(ThresholdTablesTest, LengthTableFollowsTheSameRule)
{
  global_min_length = 10;
  global_min_length_a = 2;
  global_min_length_bx = 3.0f;
  CSearchController controller(1, seq);
  using V = std::vector<int32_t>;
  // max(10, 2 + 3k) for k = 0 … 10
  EXPECT_EQ(table(CSearchController::minLengths_user, 0, 10), (V{10, 10, 10, 11, 14, 17, 20, 23, 26, 29, 32}));
}

TEST_F(ThresholdTablesTest, SumIsFormedInSinglePrecision)
{
  // 10 * 0.1f is exactly 1 in single precision but slightly above 1 in
  // double precision, where rounding up would give 2.
  global_min_score = -100;
  global_min_score_a = 0;
  global_min_score_bx = 0.1f;
  CSearchController controller(1, seq);
  EXPECT_EQ(CSearchController::minScores_user[0], 0);
  EXPECT_EQ(CSearchController::minScores_user[10], 1);
}

TEST_F(ThresholdTablesTest, TablesCoverEveryUnitLengthUpToTheMaximum)
{
  global_max_unit_length = 2;
  CSearchController controller(1, seq);
  using V = std::vector<int32_t>;
  EXPECT_EQ(table(CSearchController::minScores_intern, 0, 2), (V{4, 4, 4}));
  EXPECT_EQ(table(CSearchController::minScores_user, 0, 2), (V{6, 6, 6}));
  EXPECT_EQ(table(CSearchController::minLengths_intern, 0, 2), (V{0, 0, 0}));
}

TEST_F(ThresholdTablesTest, LaterControllersKeepTheTablesAndResetTheActivePair)
{
  { CSearchController first(1, seq); }
  const int32_t* scores = CSearchController::minScores_user;

  global_min_score = 100;
  global_min_length = 50;
  CSearchController::minScores = CSearchController::minScores_intern;
  CSearchController::minLengths = CSearchController::minLengths_intern;

  CSearchController second(2, seq);
  EXPECT_EQ(CSearchController::minScores_user, scores);
  EXPECT_EQ(CSearchController::minScores_user[1], 6);
  EXPECT_EQ(CSearchController::minScores_user[10], 10);
  EXPECT_EQ(CSearchController::minLengths_user[5], 0);
  EXPECT_EQ(CSearchController::minScores, CSearchController::minScores_user);
  EXPECT_EQ(CSearchController::minLengths, CSearchController::minLengths_user);
}
