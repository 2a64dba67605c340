// Medians of repeated measurements, for benchmarks that run natively and as Windows programs: the
// benchmark library of the others is there for native builds only.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace bench {

// A number of equal measurements in milliseconds.
class Samples {
 public:
  // Runs `work` once and keeps its time.
  template <typename Work>
  void Time(Work&& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    Add(time.count());
  }
  void Add(double milliseconds) { m_values.push_back(milliseconds); }

  // The middle one. At least one measurement is needed.
  double Median() const { return At(0.5); }
  // The spread: a tenth of the measurements lies below the first and above the second.
  double Low() const { return At(0.1); }
  double High() const { return At(0.9); }

 private:
  double At(double part) const {
    std::vector<double> sorted = m_values;
    std::sort(sorted.begin(), sorted.end());
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
  }

  std::vector<double> m_values;
};

// The table that a program prints; with the arguments "--json FILE" the same goes to FILE, one
// object a line with name, median, low and high in milliseconds, count (of what a row has once a
// measurement, such as requests) and remark.
class Table {
 public:
  Table(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--json") m_json = std::fopen(argv[2], "w");
  }
  ~Table() {
    if (m_json != nullptr) std::fclose(m_json);
  }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // One line: median, spread and remark, which is plain text without quotes.
  void Row(const std::string& name, const Samples& samples, double count = 1,
           const char* remark = "") const {
    std::printf("%-52s %9.4f ms  (%.4f to %.4f)  %s\n", name.c_str(), samples.Median(),
                samples.Low(), samples.High(), remark);
    std::fflush(stdout);
    if (m_json == nullptr) return;
    std::fprintf(m_json,
                 "{\"name\":\"%s\",\"median\":%.6f,\"low\":%.6f,\"high\":%.6f,\"count\":%.0f,"
                 "\"remark\":\"%s\"}\n",
                 name.c_str(), samples.Median(), samples.Low(), samples.High(), count, remark);
  }

 private:
  std::FILE* m_json = nullptr;
};

}  // namespace bench
