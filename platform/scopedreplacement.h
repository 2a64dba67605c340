// Replacing one operation of a platform table for the length of a scope.
//
// Every service of the operating system is reached through a table of plain function pointers
// (platform::files, platform::clock, ...). A test, or the simulated host, puts its own function in
// the place of one entry and gets the rest of the table as it is:
//
//   ScopedReplacement<platform::files, &platform::FileOperations::WriteFile> failing(
//       [](auto, auto...) { return false; });
//
// The function receives what stood in the entry before as its first argument, so it can count and
// pass on. Guards on the same entry nest and must end in reverse order of their making, as scopes
// do. Tables are not locked: make and end guards while no other thread is inside the product.
// Calls through a guard may come from several threads as long as guards on that entry don't nest.
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
    // The outer guard's entry is this same function, so for the length of the call the outer
    // guard has to be the innermost one.
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
