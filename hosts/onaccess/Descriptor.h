// An open file descriptor and its owner.

#ifndef QVL_ONACCESS_DESCRIPTOR_H
#define QVL_ONACCESS_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace onaccess {

// Closes its descriptor. Empty when the descriptor is negative.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int value) : m_value(value) {}
  Descriptor(Descriptor&& other) noexcept : m_value(std::exchange(other.m_value, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_value, other.m_value);
    return *this;
  }
  ~Descriptor() {
    if (m_value >= 0) ::close(m_value);
  }

  explicit operator bool() const { return m_value >= 0; }
  int get() const { return m_value; }

 private:
  int m_value = -1;
};

}  // namespace onaccess

#endif  // QVL_ONACCESS_DESCRIPTOR_H
