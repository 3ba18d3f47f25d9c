// Descriptor: owns one open descriptor, -1 when it has none, and closes it once.
#ifndef DESCRIPTOR_H
#define DESCRIPTOR_H

#include <unistd.h>

#include <utility>

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : fd(number) {}
  Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd, other.fd);
    other.Close();
    return *this;
  }
  ~Descriptor() { Close(); }

  int Number() const { return fd; }
  // Gives it away.
  int Release() { return std::exchange(fd, -1); }
  void Close() {
    if (fd != -1) close(std::exchange(fd, -1));
  }

 private:
  int fd = -1;
};

#endif
