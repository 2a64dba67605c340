"""Writes many changes into one copy of the sources. At run time QUORVEX_MUTANT chooses one of them.

One build then judges hundreds of mutants. QUORVEX_MUTANT_REACHED names a file with a byte for each
mutant, which becomes 1 when the program reaches it, so that only tests that reach a mutant have to run.
"""

HEADER = """#pragma once
#include <type_traits>
namespace mutant {
bool Chosen(int number) noexcept;
// Constant expressions keep the original value; such mutants are never reached.
constexpr bool On(int number) noexcept { return !std::is_constant_evaluated() && Chosen(number); }
}  // namespace mutant
"""

SOURCE = """#include "mutantswitch.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

namespace mutant {
namespace {
constexpr int kMost = 1 << 16;

struct State {
  int chosen = -1;
  unsigned char* reached = nullptr;

  State() noexcept {
    if (const char* number = getenv("QUORVEX_MUTANT")) chosen = atoi(number);
    if (const char* name = getenv("QUORVEX_MUTANT_REACHED")) {
      const int file = open(name, O_RDWR | O_CLOEXEC);
      void* view = mmap(nullptr, kMost, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
      if (view != MAP_FAILED) reached = static_cast<unsigned char*>(view);
      close(file);
    }
  }
};
}  // namespace

bool Chosen(int number) noexcept {
  static const State state;
  if (state.reached != nullptr) state.reached[number] = 1;
  return number == state.chosen;
}
}  // namespace mutant
"""

# Writes a line for each test: its name, its milliseconds, and the mutants that it reached.
TEST_MAIN = """#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {
constexpr int kMost = 1 << 16;

class Recorder : public testing::EmptyTestEventListener {
 public:
  Recorder(const char* reached, const char* tests) : m_out(std::fopen(tests, "w")) {
    const int file = open(reached, O_RDWR | O_CLOEXEC);
    m_reached = static_cast<unsigned char*>(mmap(nullptr, kMost, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    close(file);
  }
  void OnTestStart(const testing::TestInfo&) override {
    if (m_first) Write("*", 0);
    m_first = false;
  }
  void OnTestEnd(const testing::TestInfo& test) override {
    const auto name = std::string(test.test_suite_name()) + "." + test.name();
    Write(name.c_str(), static_cast<long>(test.result()->elapsed_time()));
  }

 private:
  void Write(const char* name, long milliseconds) {
    std::fprintf(m_out, "%s %ld", name, milliseconds);
    for (int at = 0; at < kMost; ++at) {
      if (m_reached[at] != 0) std::fprintf(m_out, " %d", at);
      m_reached[at] = 0;
    }
    std::fprintf(m_out, "\\n");
    std::fflush(m_out);
  }

  std::FILE* m_out;
  unsigned char* m_reached;
  bool m_first = true;
};
}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  const char* reached = std::getenv("QUORVEX_MUTANT_REACHED");
  const char* tests = std::getenv("QUORVEX_MUTANT_TESTS");
  if (reached != nullptr && tests != nullptr)
    testing::UnitTest::GetInstance()->listeners().Append(new Recorder(reached, tests));
  return RUN_ALL_TESTS();
}
"""

FILES = {"mutantswitch.h": HEADER, "platform/posix/mutantswitch.cpp": SOURCE,
         "tests/support/testmain.cpp": TEST_MAIN}


def switched(mutant, number, text, inside):
    """The mutant's outer piece with a choice. `inside` is the piece with the choices inside it."""
    on = f"::mutant::On({number})"
    if mutant.kind == "condition":
        return {"!": f"{on} == !({inside})", "t": f"{on} || ({inside})",
                "f": f"!{on} && ({inside})"}[mutant.after[0]]
    if mutant.kind == "statement":
        return f"{{ if (!{on}) {inside} }}"
    changed = (text[mutant.outer_begin:mutant.begin] + mutant.after + text[mutant.end:mutant.outer_end])
    return f"({on} ? ({changed}) : ({inside}))" if mutant.kind == "operator" else f"({on} ? {changed} : {inside})"


def render(text, numbered):
    """The text with a choice for each (number, mutant), and the numbers that overlap others."""
    order = sorted(numbered, key=lambda n: (n[1].outer_begin, -n[1].outer_end,
                                            ("statement", "condition", "operator", "constant").index(n[1].kind)))
    overlapping = []

    def piece(begin, end, items):
        out, at = [], begin
        while items:
            number, mutant = items[0]
            count = 1
            while count < len(items) and items[count][1].outer_begin < mutant.outer_end:
                count += 1
            inner = []
            for item in items[1:count]:
                (inner if item[1].outer_end <= mutant.outer_end else overlapping).append(item)
            inside = piece(mutant.outer_begin, mutant.outer_end, inner)
            out += [text[at:mutant.outer_begin], switched(mutant, number, text, inside)]
            at, items = mutant.outer_end, items[count:]
        return "".join([*out, text[at:end]])

    result = piece(0, len(text), order)
    return '#include "mutantswitch.h"\n' + result, {number for number, _ in overlapping}
