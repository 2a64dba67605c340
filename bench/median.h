// Medians of repeated measurements, for benchmarks that also run as Windows programs. The other
// benchmarks use a library that exists for native builds only.
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
  // Runs `work` once and adds its time.
  template <typename Work>
  void Time(Work&& work) {
    TimeEach(1, work);
  }
  // Runs `work`, which does `count` equal things, and adds the time of one of them.
  template <typename Work>
  void TimeEach(int count, Work&& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    Add(time.count() / count);
  }
  void Add(double milliseconds) { m_values.push_back(milliseconds); }

  // Needs at least one measurement.
  double Median() const { return At(0.5); }
  // The spread: a tenth of the measurements is below Low, and a tenth above High.
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

// The table that a program prints. With the arguments "--json FILE" it also goes to FILE, one
// object a line: name; median, low and high in milliseconds; count, such as the requests in one
// measurement; remark.
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

  // Prints one line. `remark` is plain text without quotes.
  void Row(const std::string& name, const Samples& samples, double count = 1,
           const char* remark = "") const {
    std::printf("%-52s %12.6f ms  (%.6f to %.6f)  %s\n", name.c_str(), samples.Median(),
                samples.Low(), samples.High(), remark);
    std::fflush(stdout);
    if (m_json == nullptr) return;
    std::fprintf(m_json,
                 "{\"name\":\"%s\",\"median\":%.9f,\"low\":%.9f,\"high\":%.9f,\"count\":%.0f,"
                 "\"remark\":\"%s\"}\n",
                 name.c_str(), samples.Median(), samples.Low(), samples.High(), count, remark);
  }

 private:
  std::FILE* m_json = nullptr;
};

}  // namespace bench
