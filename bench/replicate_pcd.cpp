// Makes a large file out of a real extract: writes COPIES copies of FILE's
// records, each copy's object ids moved past the previous copy's, and each
// copy's systems and databases named apart (NAME_2, NAME_3, ...), so that
// the copies build side by side as they would in one big repository.
//
//   replicate_pcd FILE COPIES > BIG.pcd
//
// The first line (the extract's title) is written once. Ids are the third
// field of E and T lines and the third to fifth of R lines; 0 stays 0 (no
// object). Lines are otherwise copied as they are, so the big file has the
// extract's own line lengths, texts and proportions.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> fields;
  size_t start = 0;
  for (;;) {
    const size_t comma = line.find(',', start);
    fields.push_back(
        line.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (comma == std::string::npos) return fields;
    start = comma + 1;
  }
}

bool isNumber(const std::string& text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

// The positions of the id fields of a line, by its first field.
std::vector<size_t> idFields(const std::string& recordType) {
  if (recordType == "E" || recordType == "T") return {2};
  if (recordType == "R") return {2, 3, 4};
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || std::atol(argv[2]) < 1) {
    std::fprintf(stderr, "usage: %s FILE COPIES\n", argv[0]);
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "replicate_pcd: cannot open %s\n", argv[1]);
    return 1;
  }
  const long copies = std::atol(argv[2]);
  std::string title;
  std::getline(in, title);
  std::vector<std::string> lines;
  long largestId = 0;
  for (std::string line; std::getline(in, line);) {
    const std::vector<std::string> fields = split(line);
    for (size_t at : idFields(fields[0])) {
      if (at < fields.size() && isNumber(fields[at]) && fields[at].size() < 18) {
        largestId = std::max(largestId, std::atol(fields[at].c_str()));
      }
    }
    lines.push_back(std::move(line));
  }
  // Copies keep the last digits of their ids: copy c adds c * stride.
  long stride = 10;
  while (stride <= largestId) stride *= 10;

  std::string out;
  out.reserve(1 << 20);
  out += title;
  out += '\n';
  for (long copy = 0; copy < copies; ++copy) {
    const std::string suffix = "_" + std::to_string(copy + 1);
    for (const std::string& line : lines) {
      std::vector<std::string> fields = split(line);
      for (size_t at : idFields(fields[0])) {
        if (at < fields.size() && isNumber(fields[at]) && fields[at] != "0" &&
            fields[at].size() < 18) {
          fields[at] = std::to_string(std::atol(fields[at].c_str()) + copy * stride);
        }
      }
      // E,REL_SYS|DATABASE,ID,COUNT,Cn,NAME,...: the name's length prefix
      // changes with it.
      if (copy > 0 && fields.size() > 5 && fields[0] == "E" &&
          (fields[1] == "REL_SYS" || fields[1] == "DATABASE") &&
          fields[4] == "C" + std::to_string(fields[5].size())) {
        fields[5] += suffix;
        fields[4] = "C" + std::to_string(fields[5].size());
      }
      for (size_t at = 0; at < fields.size(); ++at) {
        if (at > 0) out += ',';
        out += fields[at];
      }
      out += '\n';
      if (out.size() > (1 << 20) - 4096) {
        std::fwrite(out.data(), 1, out.size(), stdout);
        out.clear();
      }
    }
  }
  std::fwrite(out.data(), 1, out.size(), stdout);
  return std::fflush(stdout) == 0 ? 0 : 1;
}
