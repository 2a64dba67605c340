// The simulated host's ledger of references: which of its objects are alive, and how many
// references the add-in holds.
//
// A reference is either the host's own (a window holds its item, a collection its members) or was
// handed to the add-in. An object's outstanding count is the number of references that the add-in
// got and hasn't released. A test that holds the ledger can read it after the host's end.
//
// Name the references that the add-in keeps on purpose with ExpectLeft. Surprises then lists every
// difference and is empty if there is none.
//
// For use on the host's thread only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/com/comtypes.h"

namespace simulation::host {

class HostObjectBase;

// One object that is alive.
struct LedgerLine {
  std::string label;     // the interface and something to recognise it by: _MailItem "Hello"
  ULONG references;      // all
  ULONG hostReferences;  // the host's own
  ULONG Outstanding() const { return references - hostReferences; }
};

class HostLedger {
 public:
  HostLedger() = default;
  HostLedger(const HostLedger&) = delete;
  HostLedger& operator=(const HostLedger&) = delete;

  // Every live object, in the order of creation.
  std::vector<LedgerLine> Alive() const;
  // Of these, the objects to which the add-in holds a reference.
  std::vector<LedgerLine> Outstanding() const;
  // The sum of the outstanding references to objects whose label begins like this.
  ULONG OutstandingOf(std::string_view labelBeginning) const;

  // Expects exactly `references` outstanding references to objects whose label begins like this.
  // Expectations with the same beginning add up; an object counts for the first one that fits it.
  void ExpectLeft(std::string labelBeginning, ULONG references);

  // One readable line for each deviation: outstanding references without an expectation, more or
  // fewer than expected, and objects that were released too often.
  std::vector<std::string> Surprises() const;

  // A readable table of everything outstanding, for the message of a failed test. Ends with a line
  // end, and says so if nothing is outstanding.
  std::string Report() const;

  // The labels of objects that the add-in released without holding a reference. The host keeps its
  // own reference then, so that the test can go on and report it.
  const std::vector<std::string>& OverReleases() const { return m_overReleases; }

  // For the simulated host's objects.
  void Add(HostObjectBase* object);
  void Remove(HostObjectBase* object);
  void NoteOverRelease(std::string label) { m_overReleases.push_back(std::move(label)); }

 private:
  struct Expectation {
    std::string labelBeginning;
    ULONG references;
  };

  HostObjectBase* m_first = nullptr;
  HostObjectBase* m_last = nullptr;
  std::vector<Expectation> m_expected;
  std::vector<std::string> m_overReleases;
};

}  // namespace simulation::host
