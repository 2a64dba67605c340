// What the walk over a mail's recipients keeps for the length of one CheckRecipients call.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/comptr.h"

// The addresses as the host gives them, in UTF-8, in the order they were found: depth first, so
// the members of a list stand where the list stood. The same text may stand twice.
using AddressList = std::vector<std::string>;

// The entries that have been visited. Two are the same if and only if they are the same COM
// object; neither address nor id takes part. Each element holds one reference until the set goes.
class AddressEntrySet {
 public:
  // Takes over the reference. False when the entry is in the set already; its reference is then
  // released. A null entry counts as an object whose identity is the null pointer. Raises
  // _com_error when an object that has to be compared doesn't tell its identity.
  bool Add(platform::ComPtr<AddressEntry> entry);

 private:
  struct Element {
    platform::ComPtr<AddressEntry> entry;
    // Asked for at the first comparison, and once: a lookup among n entries would otherwise cost
    // some 2 log n calls of the host.
    mutable std::optional<std::uintptr_t> identity;

    std::uintptr_t Identity() const;
  };
  struct ByIdentity {
    bool operator()(const Element& left, const Element& right) const {
      return left.Identity() < right.Identity();
    }
  };

  std::set<Element, ByIdentity> m_elements;
};
