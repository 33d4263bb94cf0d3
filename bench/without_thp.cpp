// Runs a command with transparent huge pages unavailable to it (and to what
// it starts), so that a benchmark can measure a program both ways:
//
//   without_thp COMMAND [ARGUMENT...]
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s COMMAND [ARGUMENT...]\n", argv[0]);
    return 2;
  }
  if (prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0) != 0) {
    std::fprintf(stderr, "without_thp: prctl: %s\n", std::strerror(errno));
    return 125;
  }
  execvp(argv[1], argv + 1);
  std::fprintf(stderr, "without_thp: %s: %s\n", argv[1], std::strerror(errno));
  return 127;
}
