#include <algorithm>

#include "inspection/doctor/judging.h"

namespace inspection::doctor {

namespace {

constexpr const char* kReinstall = "install the package for this Outlook's bitness again";

std::string PlaceOf(const Registration& registration) {
  return registration.hive + "\\Software\\Classes, " + BitsOf(registration.view) + " view";
}

void JudgeNoRegistration(const Machine& machine, const Outlook& outlook, Findings* findings) {
  if (machine.registrations.empty()) {
    findings->Problem("not-registered", "The add-in isn't installed: its class isn't registered.",
                      "no CLSID key in HKLM or HKCU, in either view",
                      "install the " + BitsOf(outlook.bits) + " package");
    return;
  }
  const Registration& other = machine.registrations.front();
  findings->Problem("registered-for-other-bitness",
                    "The add-in is installed for " + BitsOf(other.view) + " Outlook, but this is " +
                        BitsOf(outlook.bits) + " Outlook.",
                    PlaceOf(other) + ": " + other.library,
                    "install the " + BitsOf(outlook.bits) + " package; it removes the other");
}

void JudgeSignature(const Library& library, const Policies& policies, Findings* findings) {
  const bool isRequired = policies.requireSigned.value_or(0) != 0;
  const std::string required = isRequired ? "; RequireAddinSig = 1" : "";
  if (library.signature == "invalid") {
    findings->Problem("signature-invalid", "The library's signature isn't valid.",
                      library.path + ", signed by " +
                          (library.publisher.empty() ? "?" : library.publisher) + required,
                      "install the package again; if that doesn't help, check the certificate");
  } else if (!isRequired) {
    return;
  } else if (library.signature == "none") {
    findings->Problem("unsigned-refused",
                      "Outlook loads only signed add-ins, and the library isn't signed.",
                      library.path + required, "install a signed package");
  } else if (library.signature.empty()) {
    findings->NotChecked("signature-unknown",
                         "Outlook loads only signed add-ins, and the signature wasn't checked.",
                         library.path + required, "check it with signtool verify /pa");
  } else if (library.isTrusted == false) {
    findings->Problem("publisher-untrusted",
                      "Outlook loads only add-ins of trusted publishers, and the library's "
                      "publisher isn't one.",
                      library.publisher + required,
                      "put the certificate into the machine's store Trusted Publishers");
  }
}

void JudgeFile(const Library& library, const Machine& machine, const Outlook& outlook,
               Findings* findings) {
  if (!library.problem.empty()) {
    findings->NotChecked("library-unreadable", "The library can't be read.",
                         library.path + ": " + library.problem,
                         "run this again as an administrator; users need to read the file too");
    return;
  }
  if (!library.isThere) {
    findings->Problem("library-missing", "The registered library doesn't exist.", library.path,
                      kReinstall);
    return;
  }
  if (library.bits == 0) {
    findings->Problem("library-damaged", "The registered file isn't a Windows library.",
                      library.path, kReinstall);
    return;
  }
  if (library.bits != outlook.bits) {
    findings->Problem("library-wrong-bitness",
                      "The library is " + BitsOf(library.bits) + ", but this is " +
                          BitsOf(outlook.bits) + " Outlook.",
                      library.path, "install the " + BitsOf(outlook.bits) + " package");
    return;
  }
  if (!library.missing.empty()) {
    findings->Problem("dependency-missing", "A library that the add-in needs is missing.",
                      library.path + " needs " + Joined(library.missing), kReinstall);
  }
  if (library.version.empty()) {
    findings->Warning("version-missing", "The library doesn't say its version.", library.path,
                      "compare the file with the package's; " + std::string(kReinstall));
  }
  JudgeSignature(library, machine.policies, findings);
}

// The user's registration counts before the machine's.
void JudgeOverride(const Machine& machine, const Registration& used, Findings* findings) {
  if (used.hive != "HKCU") return;
  for (const Registration& other : machine.registrations) {
    if (other.hive == "HKCU" || other.view != used.view) continue;
    if (IsSamePath(other.library, used.library)) continue;
    findings->Warning(
        "user-registration", "This user has another library than the machine's other users.",
        PlaceOf(used) + ": " + used.library + "; " + PlaceOf(other) + ": " + other.library,
        "delete the class's key under HKCU\\Software\\Classes");
  }
}

}  // namespace

const Registration* UsedRegistration(const Machine& machine, const Outlook& outlook) {
  const Registration* used = nullptr;
  for (const Registration& one : machine.registrations) {
    if (one.view != outlook.bits) continue;
    if (used == nullptr || one.hive == "HKCU") used = &one;
  }
  return used;
}

const Library* LibraryAt(const Machine& machine, std::string_view path) {
  for (const Library& library : machine.libraries) {
    if (IsSamePath(library.path, path)) return &library;
  }
  return nullptr;
}

void JudgeLibrary(const Machine& machine, const Outlook& outlook, Findings* findings) {
  const Registration* const used = UsedRegistration(machine, outlook);
  if (used == nullptr) {
    JudgeNoRegistration(machine, outlook, findings);
    return;
  }
  if (used->library.empty()) {
    findings->Problem("registration-broken", "The registration doesn't name the library.",
                      PlaceOf(*used) + ": InprocServer32 is empty", kReinstall);
    return;
  }
  if (!used->isNamed) {
    findings->Problem("name-missing",
                      "Outlook finds the add-in by the name Quorvex.Connect, which doesn't lead to "
                      "the class.",
                      PlaceOf(*used) + ": Quorvex.Connect\\CLSID", kReinstall);
  }
  if (!IsSamePath(used->threadingModel, "Apartment")) {
    findings->Warning(
        "threading-model", "The registration has another threading model.",
        PlaceOf(*used) + ": ThreadingModel is \"" + used->threadingModel + "\", not \"Apartment\"",
        kReinstall);
  }
  JudgeOverride(machine, *used, findings);
  if (const Library* const library = LibraryAt(machine, used->library)) {
    JudgeFile(*library, machine, outlook, findings);
  } else {
    findings->NotChecked("library-not-checked", "The registered library wasn't looked at.",
                         used->library, "run this again on the PC");
  }
}

}  // namespace inspection::doctor
