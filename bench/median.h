// Medians of repeated measurements, for benchmarks that run natively and as Windows programs: the
// benchmark library of the others is there for native builds only.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
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
    Add(std::chrono::steady_clock::now() - begin);
  }
  // The middle one; the values are sorted. At least one measurement is needed.
  double Median() { return At(0.5); }
  // The spread: a tenth of the measurements lies below the first and above the second.
  double Low() { return At(0.1); }
  double High() { return At(0.9); }

 private:
  void Add(std::chrono::duration<double, std::milli> time) { m_values.push_back(time.count()); }
  double At(double part) {
    std::sort(m_values.begin(), m_values.end());
    return m_values[static_cast<std::size_t>(part * static_cast<double>(m_values.size() - 1))];
  }

  std::vector<double> m_values;
};

// One line of the table: median, spread and remark.
inline void Print(const char* what, Samples& samples, const char* remark = "") {
  std::printf("%-52s %9.4f ms  (%.4f to %.4f)  %s\n", what, samples.Median(), samples.Low(),
              samples.High(), remark);
}

}  // namespace bench
