// The journal of the simulated host: every call that an add-in makes to the host goes through one
// HostCalls object, which numbers it, counts it under its name, and can make it fail.
//
// A call's name is "Interface::Member" ("_MailItem::get_Subject"). Identity queries are named
// "Interface::QueryInterface(Asked)", with "other" for an interface that the object doesn't have;
// subscriptions are named "ItemEvents::Advise". AddRef, Release and the host's own calls don't
// count. hostcalls.cpp lists every name.
//
// To make each call of a run fail in turn:
//
//   host.Calls().Restart();
//   run(host);
//   for (std::uint64_t number = 1; number <= callsOfACleanRun; ++number) {
//     SimulatedHost another;
//     another.Calls().FailCall(number, E_FAIL);
//     run(another);
//   }
//
// For use on the host's thread only.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/com/comtypes.h"

namespace simulation::host {

// What a failing call leaves with its caller. A careless host returns an error and an object, or an
// error and a text, and the caller has to release or free it.
enum class FaultOutput {
  kNone,   // the call does nothing
  kGiven,  // the call does its work and then claims that it failed
};

// What a call returns instead of its own result.
struct HostFault {
  HRESULT result;
  FaultOutput output;
  // A positive result is a warning: the call has done its work.
  bool DoesTheWork() const { return result > 0 || output == FaultOutput::kGiven; }
};

class HostCalls {
 public:
  HostCalls();

  // Forgets counts and journal; the next call is number 1. Faults stay.
  void Restart();

  // Calls since the beginning or the last Restart.
  std::uint64_t Total() const { return m_total; }
  // Calls with one name. Here and below an unknown name raises std::invalid_argument: a misspelt
  // name must not look like a call that was never made.
  std::uint64_t Count(std::string_view name) const;
  // Every name that was called, with its count, sorted by name.
  std::vector<std::pair<std::string_view, std::uint64_t>> Counts() const;

  // The names of the calls in the order they were made: the first is number 1.
  const std::vector<std::string_view>& Journal() const { return m_journal; }
  // Whether to note the order, which takes memory for each call. On unless switched off.
  void KeepJournal(bool keep) { m_keepJournal = keep; }

  // Faults. With FaultOutput::kNone a negative result fails the call: nothing is done, and an
  // interface or text returned by reference becomes null. S_OK makes the call claim success without
  // a result: null, zero, no file written, no sink connected. With FaultOutput::kGiven, and for a
  // positive result (a warning) always, the call does its work and only its result is replaced.
  //
  // The call with that number. Numbers count from 1, beginning anew after Restart.
  void FailCall(std::uint64_t number, HRESULT result, FaultOutput output = FaultOutput::kNone);
  // Every call with that name.
  void FailEach(std::string_view name, HRESULT result, FaultOutput output = FaultOutput::kNone);
  // The nth call with that name, counted as Count counts.
  void FailCallOf(std::string_view name, std::uint64_t nth, HRESULT result,
                  FaultOutput output = FaultOutput::kNone);
  void ClearFaults();
  // How many calls a fault answered since the beginning or the last Restart. A test that sets one
  // and finds 0 here has tested nothing.
  std::uint64_t FaultsGiven() const { return m_faultsGiven; }

  // Called with the name of each call before the host does its work, and after the work. A host
  // pumps messages during a call, so `onEnter` may fire events.
  std::function<void(std::string_view name)> onEnter;
  std::function<void()> onLeave;
  // The reverse: called before the host calls the add-in, by an event or by the add-in's contract,
  // and after that call.
  std::function<void()> onCallAddIn;
  std::function<void()> onAddInReturned;

  // For the simulated host's objects: one call from its beginning to its end.
  class Call {
   public:
    Call(HostCalls& calls, std::string_view name) : m_calls(calls), m_fault(calls.Enter(name)) {}
    ~Call() {
      if (m_calls.onLeave) m_calls.onLeave();
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    // The fault to answer the call with, if there is one.
    const std::optional<HostFault>& Fault() const { return m_fault; }

   private:
    HostCalls& m_calls;
    std::optional<HostFault> m_fault;
  };

  // For the simulated host: one call of the add-in.
  class AddInCall {
   public:
    explicit AddInCall(HostCalls& calls) : m_calls(calls) {
      if (m_calls.onCallAddIn) m_calls.onCallAddIn();
    }
    ~AddInCall() {
      if (m_calls.onAddInReturned) m_calls.onAddInReturned();
    }
    AddInCall(const AddInCall&) = delete;
    AddInCall& operator=(const AddInCall&) = delete;

   private:
    HostCalls& m_calls;
  };

 private:
  // Notes one call and returns the fault to answer it with.
  std::optional<HostFault> Enter(std::string_view name);

  struct ByName {
    std::uint64_t count = 0;
    std::optional<HostFault> each;
    std::map<std::uint64_t, HostFault> nth;
  };

  std::uint64_t m_total = 0;
  std::uint64_t m_faultsGiven = 0;
  std::map<std::string_view, ByName> m_byName;  // every name there is
  std::map<std::uint64_t, HostFault> m_byNumber;
  std::vector<std::string_view> m_journal;
  bool m_keepJournal = true;
};

}  // namespace simulation::host
