#ifndef SEQUENCE_FASTVECTOR_H
#define SEQUENCE_FASTVECTOR_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#ifdef __linux__
#include <sys/mman.h>
#endif

// Growth of a position or missense list that cannot be had ends the run:
// the message goes to standard output and the status is 0, as it always has.
[[noreturn]] inline void abort_failed_realloc()
{
  std::fputs("Program aborded due to failed realloc!\n", stdout);
  std::fflush(stdout);
  std::exit(0);
}

// Room for n bytes, to be released with free. Buffers of several megabytes
// (the residues of a long record, the marks of its search) are filled or
// scanned from end to end; in pages of 4 KiB each costs a page fault on
// first touch. Aligned to 2 MiB and marked for huge pages, where the system
// offers them, they cost one per 2 MiB.
inline void* allocate_buffer(size_t n)
{
  const size_t huge = size_t(2) << 20;
  if (n < 2 * huge)
    return std::malloc(n);
  const size_t rounded = (n + huge - 1) & ~(huge - 1);
  void* p = std::aligned_alloc(huge, rounded);
#ifdef MADV_HUGEPAGE
  if (p)
    madvise(p, rounded, MADV_HUGEPAGE); // only advice: a failure changes nothing
#endif
  return p;
}

// Moves storage whose first `used` bytes are in use to room for n bytes;
// ends the run when that cannot be had. Storage grows in place where it
// can, except that with scanned set a long buffer that is scanned from end
// to end gets room of its own (allocate_buffer).
inline void* regrow(void* data, size_t used, size_t n, bool scanned)
{
  void* p;
  if (scanned && n >= (size_t(4) << 20)) {
    p = allocate_buffer(n);
    if (p && used)
      std::memcpy(p, data, used);
    if (p)
      std::free(data);
  } else {
    p = n == 0 ? nullptr : std::realloc(data, n);
  }
  if (!p)
    abort_failed_realloc();
  return p;
}

// Next capacity of a list that grows by doubling from 4, held in 32 bits.
inline uint32_t grown_capacity(uint32_t capacity)
{
  if (capacity == 0)
    return 4;
  if (capacity > UINT32_MAX / 2)
    return capacity == UINT32_MAX ? 0 : UINT32_MAX;
  return capacity * 2;
}

// A growable array of plain values, with 32-bit length and capacity.
template <typename T>
class fastvector {
 public:
  fastvector() = default;
  fastvector(const fastvector&) = delete;
  fastvector& operator=(const fastvector&) = delete;
  ~fastvector() { std::free(data_); }

  void push_back(const T& v)
  {
    if (length_ == capacity_)
      grow(grown_capacity(capacity_));
    data_[length_++] = v;
  }
  // Makes room for exactly n elements when there is less; never shrinks.
  void reserve_exactly(uint32_t n)
  {
    if (n > capacity_)
      grow(n);
  }
  void clear() { length_ = 0; }
  // Gives the storage back to the system.
  void release()
  {
    std::free(data_);
    data_ = nullptr;
    length_ = capacity_ = 0;
  }
  // Gives back the room beyond the elements.
  void shrink_to_fit()
  {
    if (length_ == 0)
      release();
    else if (capacity_ > length_)
      grow(length_);
  }
  void swap(fastvector& o)
  {
    std::swap(data_, o.data_);
    std::swap(length_, o.length_);
    std::swap(capacity_, o.capacity_);
  }
  void resize_within_capacity(uint32_t n) { length_ = n; }

  uint32_t size() const { return length_; }
  uint32_t capacity() const { return capacity_; }
  T* begin() { return data_; }
  T* end() { return data_ + length_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + length_; }
  T& operator[](uint32_t i) { return data_[i]; }
  const T& operator[](uint32_t i) const { return data_[i]; }

 private:
  void grow(uint32_t n)
  {
    data_ = static_cast<T*>(
        regrow(data_, sizeof(T) * static_cast<size_t>(length_), sizeof(T) * static_cast<size_t>(n), false));
    capacity_ = n;
  }

  T* data_ = nullptr;
  uint32_t length_ = 0;
  uint32_t capacity_ = 0;
};

#endif
