// The ledger of the simulated host: which of its objects are alive, and who holds them.
//
// A reference is either the host's own (a window holds its item, a collection its members) or was
// given away. What was given away and not yet released is an object's outstanding count. The ledger
// outlives the host as long as somebody holds it, so a test can ask after the end of everything.
//
// The references that an add-in keeps on purpose can be named beforehand with ExpectLeft; Surprises
// then tells every difference and is empty when all is as it should be.
//
// Like the host it belongs to one thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/com/comtypes.h"

namespace simulation::host {

class HostObjectBase;

// One object that is alive.
struct LedgerLine {
  std::string label;     // the interface and what tells the object from others: _MailItem "Hello"
  ULONG references;      // all
  ULONG hostReferences;  // those of the host itself
  ULONG Outstanding() const { return references - hostReferences; }
};

class HostLedger {
 public:
  HostLedger() = default;
  HostLedger(const HostLedger&) = delete;
  HostLedger& operator=(const HostLedger&) = delete;

  // Everything alive, in the order of making.
  std::vector<LedgerLine> Alive() const;
  // Of these, the objects that somebody besides the host holds.
  std::vector<LedgerLine> Outstanding() const;
  // The sum of outstanding references over the objects whose label begins so.
  ULONG OutstandingOf(std::string_view labelBeginning) const;

  // From here on exactly `references` outstanding references to objects whose label begins so are
  // as they should be. Expectations with the same beginning add up; an object counts for the first
  // expectation that fits it.
  void ExpectLeft(std::string labelBeginning, ULONG references);

  // What isn't as it should be, a readable line each: outstanding references that nobody expects,
  // more or fewer than expected, and objects that were released too often.
  std::vector<std::string> Surprises() const;

  // A readable table of everything outstanding, for a failed test's message. Ends with a line end;
  // says so when there is nothing.
  std::string Report() const;

  // Releases of a reference that its caller didn't own. The host's own reference is then left
  // alone, so the process lives to tell.
  const std::vector<std::string>& OverReleases() const { return m_overReleases; }

  // Strings given out so far. Each is the caller's to free; that they are freed is a leak checker's
  // business.
  std::uint64_t StringsGiven() const { return m_stringsGiven; }

  // For the simulated host's objects.
  void Add(HostObjectBase* object);
  void Remove(HostObjectBase* object);
  void NoteOverRelease(std::string label) { m_overReleases.push_back(std::move(label)); }
  void CountString() { ++m_stringsGiven; }

 private:
  struct Expectation {
    std::string labelBeginning;
    ULONG references;
  };

  HostObjectBase* m_first = nullptr;
  HostObjectBase* m_last = nullptr;
  std::vector<Expectation> m_expected;
  std::vector<std::string> m_overReleases;
  std::uint64_t m_stringsGiven = 0;
};

}  // namespace simulation::host
