// Whether the add-in works on a PC, from the PC's description.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inspection/doctor/machine.h"

namespace inspection::doctor {

enum class Severity {
  kProblem,     // mails aren't checked, or not all of them
  kWarning,     // it works, but something is wrong or will go wrong
  kNotChecked,  // something couldn't be looked at
  kNote,        // worth knowing, nothing to fix
};

// "problem", "warning", "not checked", "note". These words never change.
std::string_view NameOf(Severity severity);

struct Finding {
  std::string id;  // "library-missing"; never changes
  Severity severity = Severity::kProblem;
  std::string what;      // one sentence
  std::string evidence;  // what was found, and where
  std::string remedy;    // what to do; empty for a note
};

// The findings, the most severe first, and otherwise in the order of the mail's way: library,
// loading, settings, agent, folders. The same description always has the same findings.
std::vector<Finding> Judge(const Machine& machine);

// "not working" (problems), "impaired" (warnings), "unknown" (something wasn't checked), "working".
std::string_view Verdict(const std::vector<Finding>& findings);

// Who besides the system, administrators, interactive users and the owner may write to a mapping
// with this access list, one name each ("Everyone"); "anyone" for an absent list. `*lacksUsers` is
// set if interactive users may not.
std::vector<std::string> OddWriters(std::string_view sddl, bool* lacksUsers);

}  // namespace inspection::doctor
