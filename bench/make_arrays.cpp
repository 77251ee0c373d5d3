// Writes synthetic satellite arrays as FASTA on standard output, for timing
// the searches on long imperfect repeats:
//   make_arrays attcc LENGTH   diverged (ATTCC)n: 10% substitutions, 1% insertions, 1% deletions
//   make_arrays ac7 LENGTH     (AC)n with every seventh residue changed to G
//   make_arrays mini64 LENGTH  a random 64-mer repeated, 10% substitutions, 1% insertions, 1% deletions
//   make_arrays alpha LENGTH   alpha-satellite-like: 171-bp monomers about 20% apart from each other,
//                              12 of them in a higher-order unit whose copies diverge about 2%
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

std::string random_unit(size_t length)
{
  std::string u;
  while (u.size() < length)
    u += base();
  return u;
}

// A residue other than c.
char other_than(char c)
{
  char d;
  do
    d = base();
  while (d == c);
  return d;
}

// The unit with the given share of its residues substituted.
std::string diverged(const std::string& unit, double substitutions)
{
  std::string d = unit;
  for (char& c : d)
    if (uniform() < substitutions)
      c = other_than(c);
  return d;
}

// Appends copies of unit until s reaches end, each unit character deleted,
// preceded by a random insertion, or substituted at the given rates.
void diverged_array(std::string& s, size_t end, const std::string& unit, double substitutions, double insertions,
                    double deletions)
{
  for (size_t i = 0; s.size() < end; ++i) {
    const char unit_char = unit[i % unit.size()];
    const double r = uniform();
    if (r < deletions)
      continue;
    if (r < deletions + insertions)
      s += base();
    s += uniform() < substitutions ? other_than(unit_char) : unit_char;
  }
}

} // namespace

int main(int argc, char** argv)
{
  const std::string kind = argc == 3 ? argv[1] : "";
  if (kind != "attcc" && kind != "ac7" && kind != "mini64" && kind != "alpha") {
    std::fprintf(stderr, "usage: make_arrays attcc|ac7|mini64|alpha LENGTH\n");
    return 2;
  }
  const size_t length = std::strtoull(argv[2], nullptr, 10);
  std::string s;
  random_flank(s);
  const size_t array_end = s.size() + length;
  if (kind == "attcc") {
    diverged_array(s, array_end, "ATTCC", 0.10, 0.01, 0.01);
  } else if (kind == "ac7") {
    for (size_t i = 0; s.size() < array_end; ++i)
      s += (i + 1) % 7 == 0 ? 'G' : "AC"[i % 2];
  } else if (kind == "mini64") {
    diverged_array(s, array_end, random_unit(64), 0.10, 0.01, 0.01);
  } else {
    // Monomers 10% from a common ancestor are about 20% from each other.
    const std::string ancestor = random_unit(171);
    std::string higher_order_unit;
    for (int m = 0; m < 12; ++m)
      higher_order_unit += diverged(ancestor, 0.10);
    diverged_array(s, array_end, higher_order_unit, 0.016, 0.002, 0.002);
  }
  s.resize(array_end);
  random_flank(s);
  std::printf(">%s_%zu synthetic satellite array\n", kind.c_str(), length);
  for (size_t i = 0; i < s.size(); i += 60)
    std::printf("%s\n", s.substr(i, 60).c_str());
  return 0;
}
