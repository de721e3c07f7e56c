// Scaling kernels against their closest OpenCV and libyuv equivalents on camera-sized planes: bilinear
// resize (u8, u16, float), nearest-neighbour (the four kernels) and area downscale, one thread. Every
// round times each contender once, in turn (interleaved), and the table reports medians of the thread's
// CPU time, the ratio of ours to the best peer (the peer with the lowest median), and ours against a
// memcpy of the destination bytes. Both ratios are paired: the median over the rounds of the ratio of
// the two times taken in the same round, so that a slow stretch of the machine (other work on the
// host, memory traffic of neighbours) slows both sides of a ratio alike; "med/med", the ratio of the
// two medians, is printed beside it.
//
//   oz_bench_resample_scale_bench [rounds] [filter]  the interleaved table (default 15 rounds), only
//                                                    the cases whose name contains filter when given
//   oz_bench_resample_scale_bench --gbench ...  the same contenders as Google Benchmark cases
//
// The peers' semantics differ (pixel-centre mapping, their own rounding and borders): the comparison
// is of equal work on equal sizes, not of equal output.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cstdio>
#include <cstring>
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
#include <libyuv/scale_argb.h>
#endif

namespace {

using oz::bench::median;
using oz::bench::paired_ratio;

struct Contender {
    std::string name;
    std::function<void()> run;
};

struct Case {
    std::string name;
    size_t dst_bytes;
    Contender ours;
    std::vector<Contender> peers;
};

template <class T>
std::vector<T> random_plane(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<T> v(n);
    for (T &x : v) {
        if constexpr (std::is_same_v<T, float>)
            x = float(rng() % 4096) / 64.0f;
        else
            x = T(rng());
    }
    return v;
}

// Buffers of one case, kept alive while its contenders run: page-aligned planes (page_plane.h).
struct Buffers {
    std::vector<oz::bench::Plane<uint8_t>> blocks;
    template <class T>
    T *make(size_t n, uint32_t seed) {
        const std::vector<T> v = random_plane<T>(n, seed);
        blocks.emplace_back(n * sizeof(T));
        std::memcpy(blocks.back().data(), v.data(), n * sizeof(T));
        return reinterpret_cast<T *>(blocks.back().data());
    }
};

#ifdef OZ_BENCH_HAVE_OPENCV
template <class T>
Contender cv_resize(const char *what, int type, const T *src, int sw, int sh, T *dst, int dw, int dh, int interp) {
    return {std::string("opencv ") + what, [=] {
                const cv::Mat s(sh, sw, type, const_cast<T *>(src));
                cv::Mat d(dh, dw, type, dst);
                cv::resize(s, d, cv::Size(dw, dh), 0, 0, interp);
            }};
}
#endif

void add_bilinear(std::vector<Case> &cases, Buffers &buf, int sw, int sh, int dw, int dh) {
    const std::string size = std::to_string(sw) + "x" + std::to_string(sh) + "->" + std::to_string(dw) + "x" +
                             std::to_string(dh);
    {
        const uint8_t *s = buf.make<uint8_t>(size_t(sw) * sh, 1);
        uint8_t *d = buf.make<uint8_t>(size_t(dw) * dh, 2);
        Case c{"bilinear u8 " + size, size_t(dw) * dh, {"resize_2d_array_uint8", [=] {
                   resize_2d_array_uint8(s, sw, sh, d, dw, dh);
               }}, {}};
#ifdef OZ_BENCH_HAVE_OPENCV
        c.peers.push_back(cv_resize("INTER_LINEAR", CV_8UC1, s, sw, sh, d, dw, dh, cv::INTER_LINEAR));
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
        c.peers.push_back({"libyuv ScalePlane bilinear", [=] {
                               libyuv::ScalePlane(s, sw, sw, sh, d, dw, dw, dh, libyuv::kFilterBilinear);
                           }});
#endif
        cases.push_back(c);
    }
    {
        const uint16_t *s = buf.make<uint16_t>(size_t(sw) * sh, 3);
        uint16_t *d = buf.make<uint16_t>(size_t(dw) * dh, 4);
        Case c{"bilinear u16 " + size, size_t(dw) * dh * 2, {"resize_2d_array_uint16", [=] {
                   resize_2d_array_uint16(s, sw, sh, d, dw, dh);
               }}, {}};
#ifdef OZ_BENCH_HAVE_OPENCV
        c.peers.push_back(cv_resize("INTER_LINEAR", CV_16UC1, s, sw, sh, d, dw, dh, cv::INTER_LINEAR));
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
        c.peers.push_back({"libyuv ScalePlane_16 bilinear", [=] {
                               libyuv::ScalePlane_16(s, sw, sw, sh, d, dw, dw, dh, libyuv::kFilterBilinear);
                           }});
#endif
        cases.push_back(c);
    }
    {
        const float *s = buf.make<float>(size_t(sw) * sh, 5);
        float *d = buf.make<float>(size_t(dw) * dh, 6);
        Case c{"bilinear float " + size, size_t(dw) * dh * 4, {"resize_2d_array_float", [=] {
                   resize_2d_array_float(s, sw, sh, d, dw, dh);
               }}, {}};
#ifdef OZ_BENCH_HAVE_OPENCV
        c.peers.push_back(cv_resize("INTER_LINEAR", CV_32FC1, s, sw, sh, d, dw, dh, cv::INTER_LINEAR));
#endif
        cases.push_back(c);
    }
}

// Peers of the 32-bit nearest kernels: OpenCV on 32-bit single-channel planes, libyuv on 4-byte pixels.
void add_nearest_32_peers(Case &c, const int32_t *s, int sw, int sh, int32_t *d, int dw, int dh) {
#ifdef OZ_BENCH_HAVE_OPENCV
    c.peers.push_back(cv_resize("INTER_NEAREST", CV_32SC1, s, sw, sh, d, dw, dh, cv::INTER_NEAREST));
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
    c.peers.push_back({"libyuv ARGBScale none", [=] {
                           libyuv::ARGBScale(reinterpret_cast<const uint8_t *>(s), sw * 4, sw, sh,
                                             reinterpret_cast<uint8_t *>(d), dw * 4, dw, dh, libyuv::kFilterNone);
                       }});
#endif
    (void)c, (void)s, (void)sw, (void)sh, (void)d, (void)dw, (void)dh;
}

void add_nearest(std::vector<Case> &cases, Buffers &buf, int sw, int sh, int dw, int dh) {
    const std::string size = std::to_string(sw) + "x" + std::to_string(sh) + "->" + std::to_string(dw) + "x" +
                             std::to_string(dh);
    int32_t *s32 = buf.make<int32_t>(size_t(sw) * sh, 7);
    int32_t *d32 = buf.make<int32_t>(size_t(dw) * dh, 8);
    {
        Case c{"nearest uint32 " + size, size_t(dw) * dh * 4, {"image_nearest_neighbor_scale_uint32", [=] {
                   image_nearest_neighbor_scale_uint32(reinterpret_cast<const uint32_t *>(s32), sw, sh,
                                                       reinterpret_cast<uint32_t *>(d32), dw, dh);
               }}, {}};
        add_nearest_32_peers(c, s32, sw, sh, d32, dw, dh);
        cases.push_back(c);
    }
    {
        Case c{"nearest interleaved int32 x1 " + size, size_t(dw) * dh * 4,
               {"image_nearest_neighbor_scale_interleaved_int32", [=] {
                    image_nearest_neighbor_scale_interleaved_int32(s32, uint32_t(sw), uint32_t(sh), 1, d32,
                                                                   uint32_t(dw), uint32_t(dh));
                }}, {}};
        add_nearest_32_peers(c, s32, sw, sh, d32, dw, dh);
        cases.push_back(c);
    }
    {
        Case c{"nearest footprint int32 " + size, size_t(dw) * dh * 4, {"image_downscale_nearest_neighbor_int32", [=] {
                   image_downscale_nearest_neighbor_int32(s32, d32, uint16_t(sw), uint16_t(sh), uint16_t(dw),
                                                          uint16_t(dh), 0);
               }}, {}};
        add_nearest_32_peers(c, s32, sw, sh, d32, dw, dh);
        cases.push_back(c);
    }
    {
        const uint16_t *s = buf.make<uint16_t>(size_t(sw) * sh, 9);
        uint16_t *d = buf.make<uint16_t>(size_t(dw) * dh, 10);
        Case c{"nearest footprint u16 " + size, size_t(dw) * dh * 2, {"image_upscale_nearest_neighbor_uint16", [=] {
                   image_upscale_nearest_neighbor_uint16(s, d, uint16_t(sw), uint16_t(sh), uint16_t(dw),
                                                         uint16_t(dh));
               }}, {}};
#ifdef OZ_BENCH_HAVE_OPENCV
        c.peers.push_back(cv_resize("INTER_NEAREST", CV_16UC1, s, sw, sh, d, dw, dh, cv::INTER_NEAREST));
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
        c.peers.push_back({"libyuv ScalePlane_16 none", [=] {
                               libyuv::ScalePlane_16(s, sw, sw, sh, d, dw, dw, dh, libyuv::kFilterNone);
                           }});
#endif
        cases.push_back(c);
    }
}

void add_area(std::vector<Case> &cases, Buffers &buf, int sw, int sh, int dw, int dh) {
    const std::string size = std::to_string(sw) + "x" + std::to_string(sh) + "->" + std::to_string(dw) + "x" +
                             std::to_string(dh);
    {
        const float *s = buf.make<float>(size_t(sw) * sh, 11);
        uint16_t *d = buf.make<uint16_t>(size_t(dw) * dh, 12);
        float *df = buf.make<float>(size_t(dw) * dh, 13);
        Case c{"area float->u16p10 " + size, size_t(dw) * dh * 2, {"image_downscale_32f_to_u16p10", [=] {
                   const float *sp[1] = {s};
                   uint16_t *dp[1] = {d};
                   image_downscale_32f_to_u16p10(sp, dp, uint16_t(sw), uint16_t(sh), uint16_t(dw), uint16_t(dh), 1,
                                                 nullptr);
               }}, {}};
#ifdef OZ_BENCH_HAVE_OPENCV
        c.peers.push_back(cv_resize("INTER_AREA (float)", CV_32FC1, s, sw, sh, df, dw, dh, cv::INTER_AREA));
#endif
        (void)df;
        cases.push_back(c);
    }
    {
        const uint16_t *s = buf.make<uint16_t>(size_t(sw) * sh, 14);
        uint16_t *d = buf.make<uint16_t>(size_t(dw) * dh, 15);
        Case c{"area u16->u16 " + size, size_t(dw) * dh * 2, {"image_downscale_u16_to_u16", [=] {
                   const uint16_t *sp[1] = {s};
                   uint16_t *dp[1] = {d};
                   image_downscale_u16_to_u16(sp, dp, uint16_t(sw), uint16_t(sh), 10, uint16_t(dw), uint16_t(dh), 10,
                                              1, nullptr);
               }}, {}};
#ifdef OZ_BENCH_HAVE_OPENCV
        c.peers.push_back(cv_resize("INTER_AREA", CV_16UC1, s, sw, sh, d, dw, dh, cv::INTER_AREA));
#endif
#ifdef OZ_BENCH_HAVE_LIBYUV
        c.peers.push_back({"libyuv ScalePlane_16 box", [=] {
                               libyuv::ScalePlane_16(s, sw, sw, sh, d, dw, dw, dh, libyuv::kFilterBox);
                           }});
#endif
        cases.push_back(c);
    }
}

std::vector<Case> all_cases(Buffers &buf) {
    std::vector<Case> cases;
    add_bilinear(cases, buf, 4032, 3024, 1920, 1080);
    add_bilinear(cases, buf, 1920, 1080, 3840, 2160);
    add_nearest(cases, buf, 4032, 3024, 1920, 1080);
    add_nearest(cases, buf, 1920, 1080, 3840, 2160);
    add_area(cases, buf, 4032, 3024, 1008, 756);
    add_area(cases, buf, 4032, 3024, 1920, 1080);
    return cases;
}

// CPU time of this thread, so that time the machine gives to other processes does not count.
double thread_ms() {
    timespec ts;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) * 1e-6;
}

double time_ms(const std::function<void()> &f) {
    const double t0 = thread_ms();
    f();
    return thread_ms() - t0;
}


int run_table(int rounds, const char *filter) {
    Buffers buf;
    std::vector<Case> cases = all_cases(buf);
    if (filter != nullptr)
        cases.erase(std::remove_if(cases.begin(), cases.end(),
                                   [&](const Case &c) { return c.name.find(filter) == std::string::npos; }),
                    cases.end());
    std::printf("%-44s %9s %9s %-32s %7s %7s %9s %8s\n", "case", "ours ms", "peer ms", "best peer", "ratio",
                "med/med", "memcpy ms", "/memcpy");
    for (Case &c : cases) {
        std::vector<uint8_t> from(c.dst_bytes, 1), to(c.dst_bytes, 2);
        const Contender copy{"memcpy", [&] {
                                 std::memcpy(to.data(), from.data(), c.dst_bytes);
                                 benchmark::DoNotOptimize(to.data());
                             }};
        std::vector<const Contender *> all = {&c.ours, &copy};
        for (const Contender &p : c.peers) all.push_back(&p);
        std::vector<std::vector<double>> t(all.size());
        for (const Contender *k : all) k->run();  // warm-up: page faults, caches, lazy initialisation
        for (int r = 0; r < rounds; ++r)
            for (size_t k = 0; k < all.size(); ++k) t[k].push_back(time_ms(all[k]->run));
        const double ours = median(t[0]), mem = median(t[1]);
        double best = 0;
        size_t best_k = 0;
        std::string best_name = "(no peer built)";
        for (size_t k = 2; k < all.size(); ++k) {
            const double m = median(t[k]);
            if (best == 0 || m < best) best = m, best_name = all[k]->name, best_k = k;
        }
        const auto paired = [&](size_t k) { return paired_ratio(t[0], t[k]); };
        std::printf("%-44s %9.3f %9.3f %-32s %7.2f %7.2f %9.3f %8.2f\n", c.name.c_str(), ours, best,
                    best_name.c_str(), best > 0 ? paired(best_k) : 0.0, best > 0 ? ours / best : 0.0, mem,
                    paired(1));
        for (size_t k = 2; k < all.size(); ++k)
            std::printf("    %-40s %9.3f\n", all[k]->name.c_str(), median(t[k]));
    }
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
#ifdef OZ_BENCH_HAVE_OPENCV
    cv::setNumThreads(1);
#endif
    if (argc > 1 && std::strcmp(argv[1], "--gbench") == 0) {
        static Buffers buf;
        static std::vector<Case> cases = all_cases(buf);
        for (Case &c : cases) {
            benchmark::RegisterBenchmark((c.name + " | ours").c_str(), [&c](benchmark::State &st) {
                for (auto _ : st) c.ours.run();
            })->Unit(benchmark::kMillisecond);
            for (Contender &p : c.peers)
                benchmark::RegisterBenchmark((c.name + " | " + p.name).c_str(), [&p](benchmark::State &st) {
                    for (auto _ : st) p.run();
                })->Unit(benchmark::kMillisecond);
        }
        argv[1] = argv[0];
        int n = argc - 1;
        benchmark::Initialize(&n, argv + 1);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    }
    return run_table(argc > 1 ? std::max(1, std::atoi(argv[1])) : 15, argc > 2 ? argv[2] : nullptr);
}
