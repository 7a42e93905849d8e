// A policy file: read, built into an engine, and asked.

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fuzz/Fuzz.h"
#include "io/Trouble.h"
#include "policy/Engine.h"
#include "policy/PolicyReader.h"

namespace {

// A file of this process in the working directory.
struct PolicyFile {
  ~PolicyFile() { std::filesystem::remove(name); }
  const std::string name = "fuzzed-policy-" + std::to_string(getpid()) + ".xml";
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const PolicyFile file;
  std::ofstream(file.name, std::ios::binary | std::ios::trunc) << QVL::Fuzz::textOf(data, size);
  try {
    qvlctl::Engine engine(qvlctl::readPolicy(file.name));
    for (const char* const path : {"/tmp/a.log", "/Users/a/Library/Caches/b", ""}) {
      QVL::LookupData request;
      request.m_filePath = request.m_processName = path;
      QVL::Fuzz::answerBothWays(request,
                                [&](QVL::LookupData& lent) { return engine.isExcluded(lent); });
    }
  } catch (const qvlctl::Trouble& trouble) {
    QVL::Fuzz::require(std::string(trouble.what()).find(file.name) != std::string::npos,
                       "a message names the file", trouble.what());
  }
  return 0;
}
