// Console reporter that also keeps each benchmark's time per iteration, so a benchmark program can
// print ratios against a baseline measured in the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace oz::bench {

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
