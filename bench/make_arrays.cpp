// Writes synthetic satellite arrays as FASTA on standard output, for timing
// the searches on long imperfect repeats:
//   make_arrays attcc LENGTH   diverged (ATTCC)n: 10% substitutions, 1% insertions, 1% deletions
//   make_arrays ac7 LENGTH     (AC)n with every seventh residue changed to G
// The array is flanked by 1,000 random residues on each side. The output
// depends only on the arguments (fixed random seed).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

uint64_t state = 0x2545f4914f6cdd1dULL;

uint64_t next_random() // splitmix64
{
  uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

double uniform() { return static_cast<double>(next_random() >> 11) / 9007199254740992.0; }
char base() { return "ACGT"[next_random() & 3]; }

void random_flank(std::string& s)
{
  for (int i = 0; i < 1000; ++i)
    s += base();
}

} // namespace

int main(int argc, char** argv)
{
  if (argc != 3 || (std::strcmp(argv[1], "attcc") != 0 && std::strcmp(argv[1], "ac7") != 0)) {
    std::fprintf(stderr, "usage: make_arrays attcc|ac7 LENGTH\n");
    return 2;
  }
  const bool attcc = std::strcmp(argv[1], "attcc") == 0;
  const size_t length = std::strtoull(argv[2], nullptr, 10);
  std::string s;
  random_flank(s);
  const size_t array_end = s.size() + length;
  for (size_t i = 0; s.size() < array_end; ++i) {
    if (attcc) {
      const char unit_char = "ATTCC"[i % 5];
      const double r = uniform();
      if (r < 0.01)
        continue; // deletion
      if (r < 0.02)
        s += base(); // insertion before the unit character
      if (uniform() < 0.10) {
        char c;
        do
          c = base();
        while (c == unit_char);
        s += c;
      } else {
        s += unit_char;
      }
    } else {
      const char unit_char = "AC"[i % 2];
      s += (i + 1) % 7 == 0 ? 'G' : unit_char;
    }
  }
  s.resize(array_end);
  random_flank(s);
  std::printf(">%s_%zu synthetic satellite array\n", argv[1], length);
  for (size_t i = 0; i < s.size(); i += 60)
    std::printf("%s\n", s.substr(i, 60).c_str());
  return 0;
}
