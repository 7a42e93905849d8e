#include "Decision.h"

namespace onaccess {

const char* nameOf(NameTrouble trouble) {
  static constexpr const char* kNames[kNameTroubles] = {"none", "no_path", "path_elsewhere",
                                                        "no_program", "program_elsewhere"};
  return kNames[static_cast<std::size_t>(trouble)];
}

std::optional<Outcome> Decision::decide(const Event& event, Facts& facts) {
  facts.status.reset();
  facts.trouble = NameTrouble::None;
  facts.path.clear();
  facts.program.clear();
  facts.dataSets.clear();
  facts.mayRemember = false;

  if (event.process == m_self) return Outcome::Own;
  if (m_scanner.is(event.process)) return Outcome::Scanner;

  facts.status = m_kernel.statusOf(event.descriptor);
  if (!facts.status) return Outcome::Unreadable;
  if (!facts.status->isRegular) return Outcome::NotRegular;

  // Before the policy is asked: who may write unscanned must not leave a verdict behind. The ticket
  // is taken first, so that whoever opens the file for writing after the look makes it void.
  if (m_cache.isEnabled()) {
    facts.database = m_database;
    facts.ticket = m_cache.ticketFor(facts.status->identity);
    if (m_kernel.mayHaveWriters(event.descriptor)) {
      m_cache.forget(facts.status->identity);
    } else {
      facts.mayRemember = !facts.status->isChangedLately;
    }
  }

  if (isExcluded(event, facts)) return Outcome::Excluded;

  if (facts.mayRemember && m_cache.isClean(*facts.status, facts.database)) {
    return Outcome::Remembered;
  }
  if (m_scanner.mayBecome(event.process)) return Outcome::Scanner;
  return std::nullopt;
}

bool Decision::isExcluded(const Event& event, Facts& facts) {
  static constexpr int kTries = 10;  // it is asked anew when policies are swapped meanwhile
  for (int i = 0; i < kTries; ++i) {
    facts.trouble = findNames(event, facts);
    if (facts.trouble != NameTrouble::None) return false;
    const std::optional<bool> answer =
        m_exclusions.isExcluded(facts.path, facts.program, facts.dataSets);
    if (answer) return *answer;
  }
  return false;
}

NameTrouble Decision::findNames(const Event& event, Facts& facts) {
  if (!m_kernel.pathOf(event.descriptor, facts.path)) {
    facts.path.clear();
    return NameTrouble::NoPath;
  }
  const std::optional<FileIdentity> named = m_kernel.fileAt(facts.path);
  if (!named || !(*named == facts.status->identity)) return NameTrouble::PathElsewhere;

  if (!m_exclusions.readsProgram()) return NameTrouble::None;
  const std::optional<FileIdentity> program = m_kernel.programFileOf(event.process);
  if (!program || !m_kernel.programOf(event.process, facts.program)) {
    facts.program.clear();
    return NameTrouble::NoProgram;
  }
  const std::optional<FileIdentity> namedProgram = m_kernel.fileAt(facts.program);
  if (!namedProgram || !(*namedProgram == *program)) return NameTrouble::ProgramElsewhere;
  return NameTrouble::None;
}

}  // namespace onaccess
