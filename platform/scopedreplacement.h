// Replaces one operation of a platform table for a scope.
//
// All operating-system services go through tables of function pointers (platform::files,
// platform::clock, ...). Tests and the simulated host replace single entries:
//
//   ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> failing(
//       [](auto, auto...) { return false; });
//
// The replacement gets the previous entry as its first argument, so it can count calls and pass
// them on. Replacements of one entry nest and must end in reverse order. Tables have no lock: start
// and end replacements while no other thread runs product code. Several threads may call through a
// replacement unless it is nested.
#pragma once

#include <functional>
#include <utility>

namespace platform {

template <auto& Table, auto Entry>
class ScopedReplacement;

template <typename Operations, Operations& Table, typename Result, typename... Arguments,
          Result (*Operations::*Entry)(Arguments...)>
class ScopedReplacement<Table, Entry> {
 public:
  using Original = Result (*)(Arguments...);
  using Function = std::function<Result(Original, Arguments...)>;

  explicit ScopedReplacement(Function function)
      : m_function(std::move(function)), m_previous(Table.*Entry), m_outer(s_innermost) {
    s_innermost = this;
    Table.*Entry = &Call;
  }

  ~ScopedReplacement() {
    s_innermost = m_outer;
    Table.*Entry = m_previous;
  }

  ScopedReplacement(const ScopedReplacement&) = delete;
  ScopedReplacement& operator=(const ScopedReplacement&) = delete;

 private:
  static Result Call(Arguments... arguments) {
    ScopedReplacement* const self = s_innermost;
    if (self->m_outer == nullptr) {
      return self->m_function(self->m_previous, std::forward<Arguments>(arguments)...);
    }
    // The outer replacement is called through this same function, so make it the innermost one
    // during the call.
    struct Restore {
      ScopedReplacement* innermost;
      ~Restore() { s_innermost = innermost; }
    } restore{self};
    s_innermost = self->m_outer;
    return self->m_function(self->m_previous, std::forward<Arguments>(arguments)...);
  }

  static inline ScopedReplacement* s_innermost = nullptr;

  Function m_function;
  Original m_previous;
  ScopedReplacement* m_outer;
};

}  // namespace platform
