#include "policy/Policy.h"

#include "fmt/format.h"
#include "io/Digest.h"
#include "io/Files.h"
#include "io/Output.h"
#include "io/OutputChoices.h"

namespace qvlctl {
namespace {

std::string inWords(const std::vector<Problem>& errors) {
  std::string text;
  for (const Problem& error : errors) {
    text += (text.empty() ? "" : "\nqvlctl: ") + qvlpolicy::inWords(error);
  }
  return text;
}

}  // namespace

PolicyTrouble::PolicyTrouble(const std::vector<Problem>& errors) : Trouble(inWords(errors)) {}

std::string policyName(const std::string& file) {
  return file == "-" ? "standard input" : file;
}

PolicyFile readPolicy(const std::string& file) {
  std::string text = file == "-" ? readStandardInput() : readFile(file);
  std::string included;
  qvlpolicy::LoadOptions options;
  options.onIncluded = [&](const std::string&, std::string_view content) { included += content; };
  PolicyFile read;
  read.loaded = qvlpolicy::Policy::parse(text, policyName(file), options);
  read.digest = sha256(text + included);
  return read;
}

PolicyFile loadPolicy(const std::string& file) {
  PolicyFile read = readPolicy(file);
  if (!read.loaded.policy) throw PolicyTrouble(read.loaded.errors);
  for (const Problem& warning : read.loaded.warnings) {
    remark("warning: " + qvlpolicy::inWords(warning));
  }
  return read;
}

}  // namespace qvlctl
