// Calls a fuzz target with every file that is named, and with those in every folder that is named.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

#include "fuzz/Fuzz.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    const fs::path named = argv[i];
    if (!fs::is_directory(named)) {
      files.push_back(named);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(named)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& name : files) {
    std::ifstream file(name, std::ios::binary);
    if (!file) {
      std::cerr << "expected a file to replay, and " << name << " cannot be read\n";
      return 2;
    }
    const std::string input{std::istreambuf_iterator<char>(file), {}};
    std::cout << name.string() << std::endl;
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  }
  if (files.empty()) {
    std::cerr << "expected files or folders to replay, and none was named or they are empty\n";
    return 2;
  }
  std::cout << files.size() << " inputs replayed\n";
}
