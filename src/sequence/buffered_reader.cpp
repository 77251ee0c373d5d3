#include "sequence/buffered_reader.h"

#include <sys/stat.h>
#include <unistd.h>

// Only what reads as a stream of bytes is an input: a regular file, a pipe
// or a character device. A directory, say, opens, but every read fails.
static bool is_byte_stream(const struct stat& st)
{
  return S_ISREG(st.st_mode) || S_ISFIFO(st.st_mode) || S_ISCHR(st.st_mode);
}

BufferedReader::BufferedReader()
    : state(fail_flag), line(1), buffer_pos(nullptr), buffer_end(nullptr), buffer(new char[BUFFER_SIZE])
{
  buffer_pos = buffer_end = buffer.get();
}

BufferedReader::~BufferedReader() { ffclose(); }

void BufferedReader::ffopen(const std::string& name)
{
  ffclose();
  state = good_flag;
  read_error_text.clear();
  struct stat st;
  if (name == "-") {
    // Standard input, read once from start to end like a file; zlib closes
    // its own copy of the descriptor, so standard input stays open.
    int fd = dup(STDIN_FILENO);
    file = fd >= 0 && fstat(fd, &st) == 0 && is_byte_stream(st) ? gzdopen(fd, "rb") : nullptr;
    if (!file && fd >= 0)
      close(fd);
  } else {
    // A name that is not there is left to gzopen to fail on.
    file = stat(name.c_str(), &st) != 0 || is_byte_stream(st) ? gzopen(name.c_str(), "rb") : nullptr;
  }
  if (!file)
    state = fail_flag;
  else
    gzbuffer(file, 1u << 18);
  line = 1;
  buffer_pos = buffer_end = buffer.get();
}

void BufferedReader::ffclose()
{
  if (file)
    gzclose(file);
  file = nullptr;
}

// Reads the next block. Returns false, with eof_flag and fail_flag set, when
// no byte could be read.
bool BufferedReader::refill()
{
  char* start = buffer.get();
  unsigned int room = BUFFER_SIZE;
  if (buffer_pos != start) {
    start[0] = buffer_pos[-1];
    ++start;
    --room;
  }
  int got = 0;
  if (file) {
    got = gzread(file, start, room);
    if (got <= 0) {
      int errnum = Z_OK;
      const char* text = gzerror(file, &errnum);
      if (errnum != Z_OK && errnum != Z_STREAM_END && read_error_text.empty())
        read_error_text = text ? text : "read error";
      got = 0;
    }
  }
  buffer_pos = start;
  buffer_end = start + got;
  if (got == 0)
    state = (state | eof_flag | fail_flag) & ~good_flag;
  return !(state & fail_flag);
}
