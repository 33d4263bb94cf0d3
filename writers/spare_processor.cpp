#include "spare_processor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

namespace pcd::writers {

bool spareProcessor() {
  const unsigned processors = std::thread::hardware_concurrency();
  if (processors < 2) return false;
  const int file = open("/proc/loadavg", O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  char text[128];
  const ssize_t got = read(file, text, sizeof text - 1);
  close(file);
  if (got <= 0) return false;
  text[got] = '\0';
  // "0.52 0.58 0.59 RUNNING/TOTAL LAST_PID"; RUNNING counts this program.
  double averages[3];
  unsigned running = 0;
  unsigned total = 0;
  if (std::sscanf(text, "%lf %lf %lf %u/%u", &averages[0], &averages[1], &averages[2], &running,
                  &total) != 5) {
    return false;
  }
  return running < processors;
}

}  // namespace pcd::writers
