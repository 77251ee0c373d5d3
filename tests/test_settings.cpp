// Settings: defaults, values taken from the command line, the number
// formatter and the per-unit-length threshold tables. Refusals and the
// settings summary are checked end to end in e2e_cli.cpp.

#include "search/CSearchController.h"
#include "sequence/CSequence_Mol.h"
#include "settings/global-types-and-parameters.h"
#include "settings/number2cstring.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <vector>

namespace {

class SettingsTest : public ::testing::Test {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override { reset(); } // nothing built from a test's settings stays
  static void reset()
  {
    global_input_filename.clear();
    global_output_filename.clear();
    init_param();
    CSearchController::release_tables();
  }

  static int parse(std::vector<std::string> args)
  {
    args.insert(args.begin(), {"zerlan", "in.fa"});
    std::vector<char*> argv;
    for (std::string& a : args)
      argv.push_back(&a[0]);
    argv.push_back(nullptr);
    return read_and_init_parameters(static_cast<int>(args.size()), argv.data());
  }

  // The numeric and switch settings in declaration order.
  static std::vector<double> values()
  {
    return {double(global_sequence_from), double(global_sequence_to), double(global_search_mode),
            double(global_N_and_perfection_mode), double(global_report_unit_mode), double(global_print_sat_seq_mode),
            double(global_print_sat_mode), double(global_sequenceInfoAsComment), double(global_flanking),
            double(global_maximum_recursion_depth), double(global_maximum_scorereduction),
            double(global_min_unit_length), double(global_max_unit_length), double(global_treat_Ns_as_missense),
            double(global_Ns_allowed_in_a_row), double(global_min_score), double(global_min_score_a),
            double(global_min_score_bx), double(global_min_length), double(global_min_length_a),
            double(global_min_length_bx), double(global_min_perfection), double(global_max_perfection),
            double(global_mismatch_score), double(global_indel_score), double(global_prefer_longer_repeat),
            double(global_remove_mostly_hidden), double(global_mask_X), double(global_mask_lower),
            double(global_gaps_to_Ns), double(global_VELTA_run)};
  }
};

using V = std::vector<double>;

} // namespace

TEST_F(SettingsTest, InitParamGivesTheDefaults)
{
  global_min_score_bx = 7.5f;
  global_mask_lower = true;
  init_param();
  EXPECT_EQ(values(), (V{1, -1, 2, 0, 2, 2, 1, 0, 0, 5, 2147483647, 1, 10, 0, 2, 6, 0, 1, 0, 0, 0, 0, 100, -5, -5, 1,
                         1, 0, 0, 0, 0}));
}

TEST_F(SettingsTest, CommandLineValuesReachTheirSettings)
{
  ASSERT_EQ(parse({"--firstSeq", "3", "--lastSeq", "7", "-r", "4", "-R", "30", "-N", "5", "--NsAsMissense", "-u",
                   "2", "-U", "6", "-l", "12", "--minLength_a", "3", "--minLength_b", "1.5", "-s", "9",
                   "--minScore_a", "2", "--minScore_b", "0.25", "--minPerfection", "60", "--maxPerfection", "95.5",
                   "-m", "-3", "-g", "-4", "-f", "10", "--VELTArun", "--sequenceInfoAsComment",
                   "--convert_gaps_to_Ns", "--outputFormat", "3", "--printRepeatSeqMode", "0", "--NPerfectionMode",
                   "1", "--reportUnit", "0", "-M", "extendExact", "--preferShorterRepeats", "-D", "--maskX"}),
            0);
  EXPECT_EQ(global_input_filename, "in.fa");
  EXPECT_EQ(values(), (V{3, 7, 1, 1, 0, 0, 3, 1, 10, 4, 30, 2, 6, 1, 5, 9, 2, 0.25, 12, 3, 1.5, 60, 95.5, -3, -4, 0,
                         0, 1, 0, 1, 1}));

  struct Case {
    std::vector<std::string> args;
    std::function<void()> check;
  };
  const Case cases[] = {
      {{"out.txt"}, [] { EXPECT_EQ(global_output_filename, "out.txt"); }}, // the second name is the output
      {{"--maskX", "--maskLower"}, [] { EXPECT_TRUE(global_mask_lower && !global_mask_X); }}, // lower case wins
      {{"-N", "-3", "-f", "-2"}, [] { EXPECT_EQ(global_Ns_allowed_in_a_row + global_flanking, 0); }},
  };
  for (const Case& c : cases) {
    reset();
    ASSERT_EQ(parse(c.args), 0) << ::testing::PrintToString(c.args);
    c.check();
  }
}

TEST(Number2Str, FormatsIntoTheSharedBuffer)
{
  EXPECT_STREQ(number2str(INT_MIN), "-2147483648");
  EXPECT_STREQ(number2str(4294967295u), "4294967295");
  EXPECT_STREQ(number2str(-2.5f), "-2.5");
  EXPECT_STREQ(number2str(1234567.0f), "1.23457e+06");
  const char* first = number2str(12);
  EXPECT_EQ(number2str(34u), first);
  EXPECT_STREQ(first, "34"); // every call overwrites the previous result
}

TEST_F(SettingsTest, ThresholdTablesPerUnitLength)
{
  using T = std::vector<int32_t>;
  struct Case {
    int score, score_a;
    float score_b;
    int length, length_a;
    float length_b;
    T scores, lengths; // unit lengths 0 … 10
  };
  const Case cases[] = {
      {6, 0, 1.0f, 0, 0, 0.0f, {6, 6, 6, 6, 6, 6, 6, 7, 8, 9, 10}, T(11, 0)},
      // Rounded up before the floor: k = 1: max(4, ceil 3.5); k = 3: ceil 4.5.
      {4, 3, 0.5f, 10, 2, 3.0f, {4, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8}, {10, 10, 10, 11, 14, 17, 20, 23, 26, 29, 32}},
      {3, -10, 1.0f, 0, 0, 0.0f, T(11, 3), T(11, 0)}, // the floor decides while the formula is negative
      // 10 * 0.1f is exactly 1 in single precision but above 1 in double.
      {-100, 0, 0.1f, 0, 0, 0.0f, {0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, T(11, 0)},
  };
  for (const Case& c : cases) {
    reset();
    global_min_score = c.score, global_min_score_a = c.score_a, global_min_score_bx = c.score_b;
    global_min_length = c.length, global_min_length_a = c.length_a, global_min_length_bx = c.length_b;
    CSequence_Mol seq;
    CSearchController controller(1, seq);
    EXPECT_EQ(T(CSearchController::minScores_user, CSearchController::minScores_user + 11), c.scores) << c.score_a;
    EXPECT_EQ(T(CSearchController::minLengths_user, CSearchController::minLengths_user + 11), c.lengths);
    EXPECT_EQ(CSearchController::minScores, CSearchController::minScores_user);
    EXPECT_EQ(CSearchController::minLengths, CSearchController::minLengths_user);
    // The seed tables of the exact-then-extend mode do not depend on the settings.
    EXPECT_EQ(T(CSearchController::minScores_intern, CSearchController::minScores_intern + 11),
              (T{4, 4, 4, 4, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(T(CSearchController::minLengths_intern, CSearchController::minLengths_intern + 11), T(11, 0));
  }
}
