// The fuzz input handed to the bridge as a file in memory, reopened by path
// for every run, so no disk is touched.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

struct MemoryFile {
  MemoryFile() {
    fd = memfd_create("pcd_fuzz_input", 0);
    if (fd < 0) {
      std::perror("memfd_create");
      std::abort();
    }
    path = "/proc/self/fd/" + std::to_string(fd);
  }
  void replace(const uint8_t* data, size_t size) {
    if (ftruncate(fd, 0) != 0) std::abort();
    size_t written = 0;
    while (written < size) {
      const ssize_t n = pwrite(fd, data + written, size - written, static_cast<off_t>(written));
      if (n <= 0) std::abort();
      written += static_cast<size_t>(n);
    }
  }
  int fd;
  std::string path;
};
