#pragma once
// Every system call the V4L2 backend makes, behind one small interface: the
// system one calls the kernel, and tests stand an in-process fake device in
// its place. Calls return what the system calls return and leave errno set
// the same way.
//
// The system implementation is stateless and safe from any thread; a fake
// documents its own rules.

#include <poll.h>
#include <sys/types.h>

#include <cstddef>
#include <memory>

namespace videoDevice {
namespace backends {

class V4l2Io {
 public:
  virtual ~V4l2Io() = default;

  virtual int open(const char* path, int flags) = 0;
  virtual int close(int fd) = 0;
  virtual int ioctl(int fd, unsigned long request, void* argument) = 0;
  virtual void* mmap(std::size_t length, int protection, int flags, int fd, off_t offset) = 0;
  virtual int munmap(void* address, std::size_t length) = 0;
  virtual int poll(pollfd* fds, nfds_t count, int timeoutMs) = 0;

  // ioctl retried while a signal interrupts it, as every V4L2 client must.
  int xioctl(int fd, unsigned long request, void* argument);
};

// The kernel's V4L2: one instance for the process.
std::shared_ptr<V4l2Io> systemV4l2Io();

}  // namespace backends
}  // namespace videoDevice
