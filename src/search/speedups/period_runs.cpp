#include "search/speedups/period_runs.h"

#include <cstring>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define HAVE_AVX2_PATH 1
#endif

namespace {

// Where no N lies in reach, agreement is equality alone.
bool N_within(const char* s, size_t from, size_t to) { return from < to && std::memchr(s + from, 'N', to - from); }

void masks_portable(const char* s, size_t n, size_t k, size_t first, size_t count, uint64_t* masks)
{
  for (size_t i = 0; i < count; ++i)
    masks[i] = period_mask(s, n, 64 * (first + i), k);
}

#ifdef HAVE_AVX2_PATH
__attribute__((target("avx2"))) uint64_t mask_avx2(const char* p, size_t k, bool with_N)
{
  const __m256i a0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  const __m256i a1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32));
  const __m256i b0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p - k));
  const __m256i b1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 32 - k));
  __m256i e0 = _mm256_cmpeq_epi8(a0, b0), e1 = _mm256_cmpeq_epi8(a1, b1);
  if (with_N) {
    const __m256i N = _mm256_set1_epi8('N');
    e0 = _mm256_or_si256(e0, _mm256_or_si256(_mm256_cmpeq_epi8(a0, N), _mm256_cmpeq_epi8(b0, N)));
    e1 = _mm256_or_si256(e1, _mm256_or_si256(_mm256_cmpeq_epi8(a1, N), _mm256_cmpeq_epi8(b1, N)));
  }
  return static_cast<uint32_t>(_mm256_movemask_epi8(e0)) |
         static_cast<uint64_t>(static_cast<uint32_t>(_mm256_movemask_epi8(e1))) << 32;
}

__attribute__((target("avx2"))) void masks_avx2(const char* s, size_t n, size_t k, size_t first, size_t count,
                                                 uint64_t* masks)
{
  const size_t from = 64 * first, to = std::min(n, 64 * (first + count));
  const bool with_N = N_within(s, from < k ? 0 : from - k, to);
  for (size_t i = 0; i < count; ++i) {
    const size_t base = 64 * (first + i);
    masks[i] = base >= k && base + 64 <= n ? mask_avx2(s + base, k, with_N) : period_mask(s, n, base, k);
  }
}
#endif

using Masks = void (*)(const char*, size_t, size_t, size_t, size_t, uint64_t*);

Masks chosen_masks()
{
#ifdef HAVE_AVX2_PATH
  if (__builtin_cpu_supports("avx2"))
    return masks_avx2;
#endif
  return masks_portable;
}

} // namespace

void period_masks(const char* s, size_t n, size_t k, size_t first, size_t count, uint64_t* masks)
{
  static const Masks masks_here = chosen_masks();
  masks_here(s, n, k, first, count, masks);
}
