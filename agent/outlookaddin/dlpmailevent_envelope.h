// What CheckRecipients keeps while it walks over the recipients of one mail.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/outlookaddin/outlookmodel.h"
#include "platform/com/comptr.h"

// The addresses in UTF-8, otherwise unchanged, in the order they were found: the members of a list
// take the place of the list. The same text may occur twice.
using AddressList = std::vector<std::string>;

// The entries that have been visited. Two entries are the same if and only if they are the same COM
// object; their addresses and ids don't count. The set holds one reference to each element.
class AddressEntrySet {
 public:
  // Takes over the reference. Returns false, and releases the reference, if the entry is in the set
  // already. A null entry counts as an object whose identity is the null pointer. Throws _com_error
  // if an object that has to be compared doesn't tell its identity.
  bool Add(platform::ComPtr<AddressEntry> entry);

 private:
  struct Element {
    platform::ComPtr<AddressEntry> entry;
    // Queried at the first comparison, and once: each comparison would otherwise call the host.
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
