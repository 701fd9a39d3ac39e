#pragma once
// Owners of open files: a POSIX file descriptor and a C stream, each closed when its owner goes
// out of scope. A caller that must know whether closing worked (buffered writes are flushed
// then) closes explicitly and checks the result.

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <utility>

namespace qv {

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() { Close(); }
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      Close();
      fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  bool IsOpen() const { return fd_ >= 0; }
  int Get() const { return fd_; }
  // Closes the descriptor (nothing when none is open); false when close reports an error.
  bool Close() {
    if (fd_ < 0) return true;
    return ::close(std::exchange(fd_, -1)) == 0;
  }

 private:
  int fd_ = -1;
};

struct FileStreamClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileStreamPtr = std::unique_ptr<std::FILE, FileStreamClose>;

// Closes the stream and says whether everything written to it reached the file.
inline bool CloseStream(FileStreamPtr& file) {
  return !file || std::fclose(file.release()) == 0;
}

}  // namespace qv
