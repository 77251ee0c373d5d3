#include "report/repeat.h"

#include <cstdlib>

RepeatPool repeat_pool;

float Repeat::perfection(int N_mode) const
{
  const int32_t bp = static_cast<int32_t>(normalized_length());
  const int32_t deviations = static_cast<int32_t>(num_mismatches + num_insertions + num_deletions);
  const int32_t ns = static_cast<int32_t>(num_Ns);
  int32_t numerator, denominator;
  switch (N_mode) {
  case 0: // N's count as mismatches
    numerator = bp - deviations - ns;
    denominator = bp;
    break;
  case 1: // N's are neutral
    numerator = bp - deviations - ns;
    denominator = bp - ns;
    break;
  case 2: // N's count as matches
    numerator = bp - deviations;
    denominator = bp;
    break;
  default:
    std::exit(2);
  }
  return static_cast<float>(static_cast<float>(numerator) / static_cast<float>(denominator) * 100.0);
}

bool lessThan_sat(const Repeat* a, const Repeat* b)
{
  if (a->sat_begin != b->sat_begin)
    return a->sat_begin < b->sat_begin;
  return a->sat_end < b->sat_end;
}

Repeat* RepeatPool::get_new(const char* begin, const char* end)
{
  Repeat* s = nullptr;
  {
    std::lock_guard<std::mutex> hold(lock);
    if (!free_sats.empty()) {
      s = free_sats.back();
      free_sats.pop_back();
    }
  }
  if (!s)
    s = new Repeat;
  s->init(begin, end);
  return s;
}

RepeatPool::~RepeatPool()
{
  for (Repeat* s : free_sats)
    delete s;
}
