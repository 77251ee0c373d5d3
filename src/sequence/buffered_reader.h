#ifndef SEQUENCE_BUFFERED_READER_H
#define SEQUENCE_BUFFERED_READER_H

#include <memory>
#include <string>
#include <zlib.h>

// Buffered reader of the input file. It delivers the file byte by byte from
// a block buffer of its own, turns every line break (LF, CRLF, lone CR) into
// one '\n', counts lines for error messages, and can step back one byte,
// also across a block boundary: every block after the first is preceded by
// the last byte delivered from the block before.
//
// The file goes through zlib, which hands plain files through unchanged and
// decompresses gzip files (also several concatenated members) on the fly.
// The name "-" stands for standard input, which may be a pipe: it is read
// once from start to end, never rewound.
class BufferedReader {
 public:
  enum : unsigned char { eof_flag = 1, good_flag = 2, fail_flag = 4 };
  static const unsigned int BUFFER_SIZE = 1000000;

  BufferedReader();
  ~BufferedReader();
  BufferedReader(const BufferedReader&) = delete;
  BufferedReader& operator=(const BufferedReader&) = delete;

  void ffopen(const std::string& name);
  void ffclose();

  bool eof() const { return state & eof_flag; }
  bool fail() const { return state & fail_flag; }
  bool good() const { return state == good_flag; }
  unsigned int line_number() const { return line; }
  // The text of a decompression or read error met at the end of the input,
  // or empty when the input simply ended.
  const std::string& read_error() const { return read_error_text; }

  // The next raw byte; 0 with fail_flag set when the input is used up.
  char getchar_intern()
  {
    if (buffer_pos == buffer_end && !refill())
      return 0;
    return *buffer_pos++;
  }

  // The next character with line breaks unified and counted.
  char getchar()
  {
    char c = getchar_intern();
    if (static_cast<unsigned char>(c) > 13 || (state & fail_flag))
      return c;
    if (c == '\r') {
      buffer_pos[-1] = '\n'; // a step back and re-read must see '\n'
      char next = getchar_intern();
      if (next != '\n' && !(state & fail_flag))
        ungetchar();
      ++line;
      return '\n';
    }
    if (c == '\n')
      ++line;
    return c;
  }

  void ungetchar()
  {
    if (buffer_pos == buffer.get()) {
      state = (state | fail_flag) & ~good_flag;
      return;
    }
    if (buffer_pos[-1] == '\n' && !(state & fail_flag))
      --line;
    --buffer_pos;
  }

  char peekchar()
  {
    char c = getchar();
    ungetchar();
    return c;
  }

  unsigned char state;
  unsigned int line;

  // The FASTA reader scans the current block directly in its inner loop.
  char* buffer_pos;
  char* buffer_end;
  bool refill();

 private:
  // One byte of look-behind in front of the block, then the block itself.
  std::unique_ptr<char[]> buffer;
  gzFile file = nullptr;
  std::string read_error_text;
};

#endif
