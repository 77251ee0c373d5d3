// Fuzz target: a whole run on arbitrary bytes as the input file. The first
// byte picks one of a handful of option sets drawn from the valid space,
// covering the three search modes, the five output formats, the sequence
// modes, masking and units long enough for the tables of runs of seeds.

#include "fuzz/fuzz_util.h"
#include "main/run.h"

#include <cstdint>
#include <string>
#include <vector>

static const std::vector<std::vector<std::string>> option_sets = {
  {},
  {"-M", "exact", "--outputFormat", "0", "--printRepeatSeqMode", "1", "-f", "3"},
  {"-M", "extendExact", "--outputFormat", "2", "--sequenceInfoAsComment"},
  {"-M", "imperfect", "--outputFormat", "3", "-f", "5", "--NsAsMissense", "-U", "14"},
  {"--outputFormat", "4", "-f", "2", "--maskLower", "--convert_gaps_to_Ns"},
  {"-M", "extendExact", "-r", "2", "-R", "12", "--preferShorterRepeats", "--maskX", "-N", "0"},
  {"-M", "exact", "-u", "3", "-U", "60", "--reportUnit", "0", "--outputFormat", "3"},
  {"--NPerfectionMode", "1", "--minPerfection", "80", "--reportUnit", "1", "-D", "--VELTArun"},
  {"-m", "-2", "-g", "-3", "-s", "3", "-u", "2", "-U", "7", "--NPerfectionMode", "2", "--printRepeatSeqMode", "2", "-f", "4"},
  {"-u", "12", "-U", "64", "--outputFormat", "3"},
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size == 0)
    return 0;
  const std::vector<std::string>& options = option_sets[data[0] % option_sets.size()];
  const std::string input = fuzz_input_file(data + 1, size - 1);
  const std::string report = input + ".report";

  std::vector<std::string> words = {"zerlan"};
  words.insert(words.end(), options.begin(), options.end());
  words.push_back(input);
  words.push_back(report);
  std::vector<char*> argv;
  for (std::string& w : words)
    argv.push_back(&w[0]);
  argv.push_back(nullptr);

  run_zerlan(static_cast<int>(words.size()), argv.data());
  return 0;
}
