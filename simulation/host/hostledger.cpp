#include "simulation/host/hostledger.h"

#include <cstdio>

#include "simulation/host/hostobject.h"

namespace simulation::host {
namespace {

std::string Describe(const LedgerLine& line) {
  return line.label + ": " + std::to_string(line.Outstanding()) + " outstanding";
}

}  // namespace

void HostLedger::Add(HostObjectBase* object) {
  object->m_previous = m_last;
  (m_last != nullptr ? m_last->m_next : m_first) = object;
  m_last = object;
}

void HostLedger::Remove(HostObjectBase* object) {
  (object->m_previous != nullptr ? object->m_previous->m_next : m_first) = object->m_next;
  (object->m_next != nullptr ? object->m_next->m_previous : m_last) = object->m_previous;
}

std::vector<LedgerLine> HostLedger::Alive() const {
  std::vector<LedgerLine> lines;
  for (const HostObjectBase* object = m_first; object != nullptr; object = object->m_next) {
    lines.push_back({object->Label(), object->References(), object->HostReferences()});
  }
  return lines;
}

std::vector<LedgerLine> HostLedger::Outstanding() const {
  std::vector<LedgerLine> lines;
  for (const HostObjectBase* object = m_first; object != nullptr; object = object->m_next) {
    if (object->Outstanding() == 0) continue;
    lines.push_back({object->Label(), object->References(), object->HostReferences()});
  }
  return lines;
}

ULONG HostLedger::OutstandingOf(std::string_view labelBeginning) const {
  ULONG sum = 0;
  for (const LedgerLine& line : Outstanding()) {
    if (line.label.starts_with(labelBeginning)) sum += line.Outstanding();
  }
  return sum;
}

void HostLedger::ExpectLeft(std::string labelBeginning, ULONG references) {
  for (Expectation& expectation : m_expected) {
    if (expectation.labelBeginning == labelBeginning) {
      expectation.references += references;
      return;
    }
  }
  m_expected.push_back({std::move(labelBeginning), references});
}

std::vector<std::string> HostLedger::Surprises() const {
  std::vector<std::string> surprises;
  std::vector<ULONG> found(m_expected.size());
  for (const LedgerLine& line : Outstanding()) {
    std::size_t at = 0;
    while (at < m_expected.size() && !line.label.starts_with(m_expected[at].labelBeginning)) ++at;
    if (at == m_expected.size()) {
      surprises.push_back(Describe(line) + ", not expected");
    } else {
      found[at] += line.Outstanding();
    }
  }
  for (std::size_t at = 0; at < m_expected.size(); ++at) {
    if (found[at] == m_expected[at].references) continue;
    surprises.push_back(m_expected[at].labelBeginning + ": " + std::to_string(found[at]) +
                        " outstanding, expected " + std::to_string(m_expected[at].references));
  }
  for (const std::string& label : m_overReleases) {
    surprises.push_back(label + ": released without a reference");
  }
  return surprises;
}

std::string HostLedger::Report() const {
  std::string report;
  for (const LedgerLine& line : Outstanding()) {
    char counts[64];
    std::snprintf(counts, sizeof(counts), "%5u outstanding, %5u the host's own  ",
                  static_cast<unsigned>(line.Outstanding()),
                  static_cast<unsigned>(line.hostReferences));
    report += counts + line.label + "\n";
  }
  for (const std::string& label : m_overReleases) {
    report += "released too often              " + label + "\n";
  }
  return report.empty() ? "nothing is outstanding\n" : report;
}

}  // namespace simulation::host
