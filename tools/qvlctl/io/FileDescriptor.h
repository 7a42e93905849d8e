// The owner of a file descriptor.

#ifndef QVLCTL_IO_FILE_DESCRIPTOR_H
#define QVLCTL_IO_FILE_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace qvlctl {

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      close();
      m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
  }
  ~FileDescriptor() { close(); }

  explicit operator bool() const { return m_descriptor >= 0; }
  int get() const { return m_descriptor; }

  // Gives the descriptor away.
  int release() { return std::exchange(m_descriptor, -1); }

  void close() {
    if (m_descriptor >= 0) ::close(m_descriptor);
    m_descriptor = -1;
  }

 private:
  int m_descriptor = -1;
};

}  // namespace qvlctl

#endif  // QVLCTL_IO_FILE_DESCRIPTOR_H
