// output.h - a stream buffer over a file descriptor that keeps its own time.
//
// The printer ends every line with a flush, which would be a system call a
// line; this buffer writes when it is full and when it is finished.
// Threads: for one thread.
#ifndef VELSTD_TOOLS_VELQ_OUTPUT_H
#define VELSTD_TOOLS_VELQ_OUTPUT_H

#include <streambuf>
#include <vector>

class OutputBuffer : public std::streambuf {
 public:
  /// @param descriptor  borrowed, stays open
  explicit OutputBuffer(int descriptor);
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  /// Writes what is left. 0, or the error number of the first write that failed.
  int finish();

 protected:
  int_type overflow(int_type character) override;
  /// Nothing: see the head of this file.
  int sync() override { return 0; }

 private:
  bool drain();

  const int descriptor;
  int error;
  std::vector<char> block;
};

#endif  // VELSTD_TOOLS_VELQ_OUTPUT_H
