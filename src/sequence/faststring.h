#ifndef SEQUENCE_FASTSTRING_H
#define SEQUENCE_FASTSTRING_H

#include "sequence/fastvector.h"

#include <cstring>

// A growable byte string with 32-bit length and capacity. The terminating
// zero is not kept; c_str() writes it on demand.
class faststring {
 public:
  faststring() = default;
  explicit faststring(const char* s) { assign(s); }
  faststring(const char* s, uint32_t n) { assign(s, n); }
  faststring(const faststring& o) { assign(o.data_ ? o.data_ : "", o.length_); }
  faststring& operator=(const faststring& o)
  {
    if (this != &o)
      assign(o.data_ ? o.data_ : "", o.length_);
    return *this;
  }
  ~faststring() { std::free(data_); }

  void push_back(char c)
  {
    if (length_ == capacity_)
      grow(grown_capacity(capacity_));
    data_[length_++] = c;
  }
  // Appends n letters in upper case, growing as push_back would.
  void append_upper(const char* s, uint32_t n)
  {
    while (capacity_ - length_ < n)
      grow(grown_capacity(capacity_));
    for (uint32_t i = 0; i < n; ++i)
      data_[length_ + i] = static_cast<char>(s[i] & ~0x20);
    length_ += n;
  }
  // Room for n bytes and a terminating zero.
  void reserve(uint32_t n)
  {
    if (n == UINT32_MAX)
      abort_failed_realloc();
    if (n + 1 > capacity_)
      grow(n + 1);
  }
  const char* c_str()
  {
    if (length_ == capacity_)
      grow(length_ + 1 == 0 ? 0 : length_ + 1);
    data_[length_] = '\0';
    return data_;
  }
  void assign(const char* s) { assign(s, static_cast<uint32_t>(std::strlen(s))); }
  void assign(const char* s, uint32_t n)
  {
    length_ = 0;
    reserve(n);
    std::memcpy(data_, s, n);
    length_ = n;
  }
  void clear() { length_ = 0; }

  uint32_t size() const { return length_; }
  bool empty() const { return length_ == 0; }
  char* data() { return data_; }
  const char* data() const { return data_; }
  char* begin() { return data_; }
  char* end() { return data_ + length_; }
  const char* begin() const { return data_; }
  const char* end() const { return data_ + length_; }
  char& operator[](uint32_t i) { return data_[i]; }
  char operator[](uint32_t i) const { return data_[i]; }

 private:
  void grow(uint32_t n)
  {
    data_ = static_cast<char*>(regrow(data_, length_, n, true)); // a long record's residues
    capacity_ = n;
  }

  char* data_ = nullptr;
  uint32_t length_ = 0;
  uint32_t capacity_ = 0;
};

#endif
