// The reading limit of a PCD import: a plain std::getline loop over the file
// that only counts lines and bytes.
//
//   getline_loop FILE.pcd
#include <cstdio>
#include <fstream>
#include <string>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: getline_loop FILE.pcd\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::perror(argv[1]);
    return 1;
  }
  std::string line;
  unsigned long lines = 0, bytes = 0;
  while (std::getline(in, line)) {
    ++lines;
    bytes += line.size();
  }
  std::printf("%lu lines, %lu bytes\n", lines, bytes);
  return 0;
}
