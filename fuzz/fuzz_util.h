#ifndef FUZZ_UTIL_H
#define FUZZ_UTIL_H

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

// The readers take file names, so each fuzz input is written to one scratch
// file per process, in memory-backed storage when there is some.
inline std::string fuzz_input_file(const uint8_t* data, size_t size)
{
  static const std::string path =
      std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/zerlan-fuzz-" +
      std::to_string(getpid()) + ".fa";
  std::ofstream(path, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data),
                                                               static_cast<std::streamsize>(size));
  return path;
}

inline FILE* fuzz_sink()
{
  static FILE* sink = std::fopen("/dev/null", "w");
  return sink;
}

#endif
