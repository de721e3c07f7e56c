// Bicubic kernels against their closest peers, one thread, same sizes, in one interleaved run:
//   image_bicubic_upscale_uint8/16_to_float  1920x1080 -> 3840x2160
//   bicubic_resize_32f_to_u16p10, bicubic_resize_u16_to_u16  1920x1080 -> 1280x720 and -> 3840x2160
// Peers: OpenCV cv::resize INTER_CUBIC on the same input type and on float (same output type for the
// float kernels). libyuv has no bicubic filter; its bilinear ScalePlane is timed for reference only
// and is not counted as a peer. The semantics differ (corner-aligned mapping, border rule, output
// format), so this compares equal work, not equal output.
//
//   oz_bench_resample_bicubic_bench [rounds] [filter]  the interleaved table (default 21 rounds): every
//       round calls each contender of a case once, in turn; the table gives each contender's median
//       time and the ratio ours / best peer (the peer with the lowest median), paired: the median over
//       the rounds of the ratio of the two times of the same round, so that a slow stretch of the
//       machine slows both sides alike ("med/med", the ratio of the medians, beside it). Only the
//       cases whose name contains filter when given.
//   oz_bench_resample_bicubic_bench --gbench ...  the same contenders as Google Benchmark cases, 21
//       repetitions of at least 0.2 s each, randomly interleaved; any Google Benchmark flag overrides.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_ratio.h"
#include "bench/page_plane.h"
#include "oz_resample.h"

#ifdef OZ_BENCH_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
#include <libyuv/scale.h>
#endif

namespace {

using oz::bench::median;
using oz::bench::Plane;
using oz::bench::paired_ratio;

constexpr int kSrcW = 1920, kSrcH = 1080;

struct Planes {
    Plane<uint8_t> u8;
    Plane<uint16_t> u16;  // 10-bit data, read with shift 4 by the u16 resize
    Plane<float> f32;     // the same image in u16p10 units (0 .. 64)
    Plane<float> out_f32;
    Plane<uint8_t> out_u8;
    Plane<uint16_t> out_u16;
    Planes() {
        std::mt19937 rng(1);
        const size_t n = size_t(kSrcW) * kSrcH;
        u8.resize(n);
        u16.resize(n);
        f32.resize(n);
        // A smooth image with noise, so that no path sees only constants.
        for (int y = 0; y < kSrcH; ++y)
            for (int x = 0; x < kSrcW; ++x) {
                const int v = ((x * 7 + y * 3) & 1023) ^ int(rng() & 15);
                u8[y * kSrcW + x] = uint8_t(v >> 2);
                u16[y * kSrcW + x] = uint16_t(v << 4);
                f32[y * kSrcW + x] = float(v) / 16.0f;
            }
        out_f32.resize(3840 * 2160);
        out_u8.resize(3840 * 2160);
        out_u16.resize(3840 * 2160);
    }
};

Planes &planes() {
    static Planes p;
    return p;
}

struct Contender {
    std::string group;  // kernel and sizes
    std::string who;
    bool ours;
    bool peer;  // counted for the best peer
    std::function<void()> run;
};

std::vector<Contender> contenders() {
    std::vector<Contender> list;
    Planes &p = planes();
    const struct { int w, h; } upscale_to = {3840, 2160};
    const struct { int w, h; } resize_to[] = {{1280, 720}, {3840, 2160}};

    auto size = [](int w, int h) {
        return std::to_string(kSrcW) + "x" + std::to_string(kSrcH) + "->" + std::to_string(w) +
               "x" + std::to_string(h);
    };

#ifdef OZ_BENCH_HAVE_OPENCV
    auto cv_resize = [&p](int depth, int w, int h) -> std::function<void()> {
        return [&p, depth, w, h] {
            static thread_local cv::Mat dst;
            void *src = depth == CV_8U    ? static_cast<void *>(p.u8.data())
                        : depth == CV_16U ? static_cast<void *>(p.u16.data())
                                          : static_cast<void *>(p.f32.data());
            void *out = depth == CV_8U    ? static_cast<void *>(p.out_u8.data())
                        : depth == CV_16U ? static_cast<void *>(p.out_u16.data())
                                          : static_cast<void *>(p.out_f32.data());
            cv::Mat s(kSrcH, kSrcW, CV_MAKETYPE(depth, 1), src);
            cv::Mat d(h, w, CV_MAKETYPE(depth, 1), out);
            cv::resize(s, d, d.size(), 0, 0, cv::INTER_CUBIC);
            benchmark::DoNotOptimize(d.data);
        };
    };
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
    auto yuv8 = [&p](int w, int h) -> std::function<void()> {
        return [&p, w, h] {
            libyuv::ScalePlane(p.u8.data(), kSrcW, kSrcW, kSrcH, p.out_u8.data(), w, w, h,
                               libyuv::kFilterBilinear);
        };
    };
    auto yuv16 = [&p](int w, int h) -> std::function<void()> {
        return [&p, w, h] {
            libyuv::ScalePlane_16(p.u16.data(), kSrcW, kSrcW, kSrcH, p.out_u16.data(), w, w, h,
                                  libyuv::kFilterBilinear);
        };
    };
#endif

    {
        const int w = upscale_to.w, h = upscale_to.h;
        const std::string g8 = "upscale u8->f32 " + size(w, h);
        list.push_back({g8, "ours", true, false, [&p, w, h] {
                            const uint8_t *s[1] = {p.u8.data()};
                            float *d[1] = {p.out_f32.data()};
                            image_bicubic_upscale_uint8_to_float(s, d, kSrcW, kSrcH, w, h, 1);
                        }});
        const std::string g16 = "upscale u16->f32 " + size(w, h);
        list.push_back({g16, "ours", true, false, [&p, w, h] {
                            const uint16_t *s[1] = {p.u16.data()};
                            float *d[1] = {p.out_f32.data()};
                            image_bicubic_upscale_uint16_to_float(s, d, kSrcW, kSrcH, w, h, 1);
                        }});
#ifdef OZ_BENCH_HAVE_OPENCV
        list.push_back({g8, "opencv cubic 8U", false, true, cv_resize(CV_8U, w, h)});
        list.push_back({g8, "opencv cubic 32F", false, true, cv_resize(CV_32F, w, h)});
        list.push_back({g16, "opencv cubic 16U", false, true, cv_resize(CV_16U, w, h)});
        list.push_back({g16, "opencv cubic 32F", false, true, cv_resize(CV_32F, w, h)});
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
        list.push_back({g8, "libyuv bilinear (reference)", false, false, yuv8(w, h)});
        list.push_back({g16, "libyuv bilinear (reference)", false, false, yuv16(w, h)});
#endif
    }
    for (const auto &to : resize_to) {
        const int w = to.w, h = to.h;
        const std::string gf = "resize f32->u16p10 " + size(w, h);
        list.push_back({gf, "ours", true, false, [&p, w, h] {
                            bicubic_resize_32f_to_u16p10(p.f32.data(), kSrcH, kSrcW,
                                                         p.out_u16.data(), uint16_t(h),
                                                         uint16_t(w));
                        }});
        const std::string gu = "resize u16->u16p10 " + size(w, h);
        list.push_back({gu, "ours", true, false, [&p, w, h] {
                            bicubic_resize_u16_to_u16(p.u16.data(), kSrcH, kSrcW, 4,
                                                      p.out_u16.data(), uint16_t(h), uint16_t(w));
                        }});
#ifdef OZ_BENCH_HAVE_OPENCV
        list.push_back({gf, "opencv cubic 32F", false, true, cv_resize(CV_32F, w, h)});
        list.push_back({gu, "opencv cubic 16U", false, true, cv_resize(CV_16U, w, h)});
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
        list.push_back({gu, "libyuv bilinear (reference)", false, false, yuv16(w, h)});
#endif
    }
    return list;
}

double now_ms() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}


int run_table(int rounds, const char *filter) {
    const std::vector<Contender> list = contenders();
    std::vector<std::string> groups;
    for (const Contender &c : list)
        if ((filter == nullptr || c.group.find(filter) != std::string::npos) &&
            std::find(groups.begin(), groups.end(), c.group) == groups.end())
            groups.push_back(c.group);
    std::printf("| kernel, sizes | contender | median ms | ours / best peer | med/med |\n|---|---|---|---|---|\n");
    for (const std::string &g : groups) {
        std::vector<const Contender *> members;
        for (const Contender &c : list)
            if (c.group == g) members.push_back(&c);
        std::vector<std::vector<double>> t(members.size());
        for (const Contender *c : members) c->run();  // warm-up: page faults, caches, lazy initialisation
        for (int r = 0; r < rounds; ++r)
            for (size_t k = 0; k < members.size(); ++k) {
                const double t0 = now_ms();
                members[k]->run();
                t[k].push_back(now_ms() - t0);
            }
        size_t ours = members.size(), best = members.size();
        for (size_t k = 0; k < members.size(); ++k) {
            if (members[k]->ours) ours = k;
            if (members[k]->peer && (best == members.size() || median(t[k]) < median(t[best]))) best = k;
        }
        for (size_t k = 0; k < members.size(); ++k) {
            std::string paired, plain;
            if (k == ours && best < members.size()) {
                char buf[32];
                std::snprintf(buf, sizeof buf, "%.2f", paired_ratio(t[ours], t[best]));
                paired = buf;
                std::snprintf(buf, sizeof buf, "%.2f", median(t[ours]) / median(t[best]));
                plain = buf;
            }
            std::printf("| %s | %s | %.2f | %s | %s |\n", g.c_str(), members[k]->who.c_str(), median(t[k]),
                        paired.c_str(), plain.c_str());
        }
    }
    return 0;
}

int run_gbench(int argc, char **argv) {
    std::vector<char *> args(argv, argv + argc);
    static char reps[] = "--benchmark_repetitions=21";
    static char min_time[] = "--benchmark_min_time=0.2";
    static char interleave[] = "--benchmark_enable_random_interleaving=true";
    static char aggregates[] = "--benchmark_report_aggregates_only=true";
    args.insert(args.begin() + 1, {reps, min_time, interleave, aggregates});
    int n = int(args.size());
    benchmark::Initialize(&n, args.data());
    static const std::vector<Contender> list = contenders();
    for (const Contender &c : list)
        benchmark::RegisterBenchmark((c.group + " | " + c.who).c_str(),
                                     [&c](benchmark::State &state) {
                                         for (auto _ : state) c.run();
                                     })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
#ifdef OZ_BENCH_HAVE_OPENCV
    cv::setNumThreads(1);
#endif
    if (argc > 1 && std::strcmp(argv[1], "--gbench") == 0) {
        argv[1] = argv[0];
        return run_gbench(argc - 1, argv + 1);
    }
    return run_table(argc > 1 ? std::max(1, std::atoi(argv[1])) : 21, argc > 2 ? argv[2] : nullptr);
}
