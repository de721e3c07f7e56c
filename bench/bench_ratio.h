// Ratios against a baseline measured in the same run: a console reporter that keeps each benchmark's
// time per iteration, and the medians of interleaved rounds (each round times every contender once).
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace oz::bench {

inline double median(std::vector<double> v) {
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

// The median over the rounds of a[i] / b[i], the two times of round i: a slow stretch of the machine
// (other work on the host, neighbours' memory traffic) slows both sides of a round's ratio alike.
inline double paired_ratio(const std::vector<double> &a, const std::vector<double> &b) {
    std::vector<double> r;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) r.push_back(a[i] / b[i]);
    return median(r);
}

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            // With repetitions keep the median aggregate; otherwise the single run.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
            times_[run.run_name.function_name] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
    // Time of a benchmark by its registered name (0 when it did not run).
    double time(const std::string &name) const {
        auto it = times_.find(name);
        return it == times_.end() ? 0.0 : it->second;
    }
    void print_ratio(const std::string &what, const std::string &base) const {
        const double a = time(what), b = time(base);
        if (a > 0 && b > 0) std::printf("ratio %-48s / %-28s = %.2f\n", what.c_str(), base.c_str(), a / b);
    }

  private:
    std::map<std::string, double> times_;
};

}  // namespace oz::bench
