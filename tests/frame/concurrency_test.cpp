// Eight threads at once on every family: every fixed-size kernel, the WHT with
// scratch of the caller's and with scratch it allocates per call, and the
// DCT-IV with one plan of 32 points shared by all threads and plans of their
// own built, used and released concurrently. Every thread must get the bits
// of a single-threaded run. Under ThreadSanitizer this also shows that no
// call writes memory another call reads.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "dct4_test_util.h"
#include "kernel_table.h"
#include "test_util.h"
#include "wht_test_util.h"

namespace {

constexpr int kThreads = 8;

template <class F>
void onThreads(F&& body) {
    std::vector<std::thread> threads;
    std::vector<int> failures(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) threads.emplace_back([&, t] { failures[t] = body(t); });
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[t], 0) << "thread " << t;
}

// Every generated kernel, whatever its kind.
TEST(Concurrency, Kernels) {
    const auto& ks = qrbtest::allKernels();
    std::vector<std::vector<unsigned char>> in, want;
    for (const auto& k : ks) {
        in.push_back(qrbtest::randomInput(k, 40u + k.n));
        want.emplace_back(k.dstBytes());
        EXPECT_EQ(k.call(in.back().data(), want.back().data(), ScaleBySqrtN), StatusOk);
    }
    onThreads([&](int t) {
        int bad = 0;
        for (int round = 0; round < 20; ++round)
            for (std::size_t i = 0; i < ks.size(); ++i) {
                // Odd threads work on misaligned copies: the other memory form.
                qrbtest::Buffer x(ks[i].srcBytes(), t % 2 ? 8 : 0), y(ks[i].dstBytes(), t % 2 ? 8 : 0);
                std::memcpy(x.data(), in[i].data(), x.size());
                bad += ks[i].call(x.data(), y.data(), ScaleBySqrtN) != StatusOk;
                bad += !qrbtest::sameBits(y.data(), want[i].data(), y.size());
            }
        return bad;
    });
}

template <class T>
void wht() {
    std::vector<std::vector<T>> in, want;
    for (int order = 1; order <= 13; ++order) {
        in.push_back(qrbtest::randomReals<T>(std::size_t(1) << order, 60u + order));
        want.push_back(qrbtest::levelLoop(in.back(), order, ScaleFwdByN));
    }
    onThreads([&](int t) {
        int bad = 0;
        qrbtest::Buffer scratch(1 << 17, 0);  // this thread's own
        for (int round = 0; round < 3; ++round)
            for (int order = 1; order <= 13; ++order) {
                std::vector<T> y(std::size_t(1) << order);
                // Even threads let the kernel allocate its scratch, odd ones give their own.
                std::uint8_t* b = t % 2 ? scratch.data() : nullptr;
                bad += qrbtest::Wht<T>::entry(in[order - 1].data(), y.data(), order, ScaleFwdByN, b) != StatusOk;
                bad += !qrbtest::sameBits(y.data(), want[order - 1].data(), sizeof(T) * y.size());
            }
        return bad;
    });
}
TEST(Concurrency, Wht32f) { wht<float>(); }
TEST(Concurrency, Wht64f) { wht<double>(); }

template <class T>
void dct4() {
    using Api = dct4test::Api<T>;
    Dct4Spec* shared = nullptr;
    ASSERT_EQ(Api::initAlloc(&shared, 32), StatusOk);
    const auto x32 = qrbtest::randomReals<T>(32, 7), x4k = qrbtest::randomReals<T>(4096, 8);
    std::vector<T> want32(32), want4k(4096);
    ASSERT_EQ(Api::run(x32.data(), want32.data(), shared), StatusOk);
    {
        Dct4Spec* p = nullptr;
        ASSERT_EQ(Api::initAlloc(&p, 4096), StatusOk);
        ASSERT_EQ(Api::run(x4k.data(), want4k.data(), p), StatusOk);
        ASSERT_EQ(Api::free(p), StatusOk);
    }
    onThreads([&](int) {
        int bad = 0;
        std::vector<T> y32(32), y4k(4096);
        for (int round = 0; round < 10; ++round) {
            bad += Api::run(x32.data(), y32.data(), shared) != StatusOk;
            bad += !qrbtest::sameBits(y32.data(), want32.data(), sizeof(T) * 32);
            Dct4Spec* own = nullptr;  // plans from 64 points on are not shared
            bad += Api::initAlloc(&own, 4096) != StatusOk;
            bad += Api::run(x4k.data(), y4k.data(), own) != StatusOk;
            bad += !qrbtest::sameBits(y4k.data(), want4k.data(), sizeof(T) * 4096);
            bad += Api::free(own) != StatusOk;
        }
        return bad;
    });
    EXPECT_EQ(Api::free(shared), StatusOk);
}
TEST(Concurrency, Dct4_32f) { dct4<float>(); }
TEST(Concurrency, Dct4_64f) { dct4<double>(); }

}  // namespace
