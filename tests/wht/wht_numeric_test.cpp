// What the WHT kernels compute: the bits of the level loop under every flag,
// whatever the alignment of the arrays, in place or not, with or without a
// caller's scratch, directly or through the general entry; and the matrix
// itself (natural order, symmetric, self-inverse up to scale).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

#include "test_util.h"
#include "wht_test_util.h"

using namespace qrbtest;

namespace {

template <class T>
std::size_t bytesOf(int order) {
    return sizeof(T) << order;
}

// A scratch area for a caller that brings its own; 16-byte aligned.
template <class T>
struct Scratch {
    explicit Scratch(int order) {
        int32_t size = -1;
        EXPECT_EQ(Wht<T>::bufferSize(order, &size), StatusOk);
        buf = std::make_unique<Buffer>(static_cast<std::size_t>(size), 0);
    }
    uint8_t* get() { return buf->size() ? buf->data() : nullptr; }
    std::unique_ptr<Buffer> buf;
};

// Random data, every flag: each kernel equals the level loop bit for bit,
// with src and dst 0, 4, 8 or 12 bytes off a 16-byte boundary in every
// combination (both memory forms), in place at each offset, with the
// caller's scratch and with none, and through the general entry.
template <class T>
void matchesLevelLoop() {
    const std::size_t offsets[] = {0, 4, 8, 12};
    for (int order = 1; order <= 13; ++order) {
        const std::size_t n = std::size_t(1) << order, bytes = bytesOf<T>(order);
        const auto x = randomReals<T>(n, 200u + order);
        const auto f = Wht<T>::kernel(order);
        Scratch<T> scratch(order);
        for (int flag : kWhtFlags) {
            const auto want = levelLoop(x, order, flag);
            for (std::size_t so : offsets) {
                for (std::size_t dof : offsets) {
                    Buffer s(bytes, so), d(bytes, dof);
                    std::memcpy(s.data(), x.data(), bytes);
                    std::memset(d.data(), 0xff, bytes);
                    ASSERT_EQ(f(s.as<T>(), d.as<T>(), flag, scratch.get()), StatusOk);
                    EXPECT_TRUE(sameBits(d.data(), want.data(), bytes))
                        << Wht<T>::name << " order " << order << " flag " << flag << " src+" << so << " dst+" << dof;
                    EXPECT_TRUE(sameBits(s.data(), x.data(), bytes)) << "src changed, order " << order;
                    EXPECT_TRUE(d.guardsIntact()) << "order " << order;
                    // The general entry, and a null buffer, reach the same bits.
                    std::memset(d.data(), 0xff, bytes);
                    ASSERT_EQ(Wht<T>::entry(s.as<T>(), d.as<T>(), order, flag, so == dof ? nullptr : scratch.get()),
                              StatusOk);
                    EXPECT_TRUE(sameBits(d.data(), want.data(), bytes)) << "entry, order " << order;
                }
                Buffer io(bytes, so);
                std::memcpy(io.data(), x.data(), bytes);
                ASSERT_EQ(f(io.as<T>(), io.as<T>(), flag, scratch.get()), StatusOk);
                EXPECT_TRUE(sameBits(io.data(), want.data(), bytes))
                    << Wht<T>::name << " in place, order " << order << " flag " << flag << " offset " << so;
                EXPECT_TRUE(io.guardsIntact());
            }
        }
    }
}
TEST(WhtNumeric, MatchesLevelLoop32f) { matchesLevelLoop<float>(); }
TEST(WhtNumeric, MatchesLevelLoop64f) { matchesLevelLoop<double>(); }

// The matrix without the level loop: an impulse at index j gives s times
// row j, whose entry k is (-1)^popcount(j & k), exactly; a constant c gives
// c N s at index 0 and zeros elsewhere. This also reads back the scale of
// each flag against values derived apart from the library's constants.
template <class T>
void impulsesAndConstants() {
    for (int order = 1; order <= 13; ++order) {
        const int n = 1 << order;
        const auto f = Wht<T>::kernel(order);
        Scratch<T> scratch(order);
        std::vector<T> x(static_cast<std::size_t>(n)), y(static_cast<std::size_t>(n));
        for (int flag : kWhtFlags) {
            const T s = whtScale<T>(order, flag);
            for (int j : {0, 1, (n / 2 + 1) % n, n - 1}) {
                std::fill(x.begin(), x.end(), T(0));
                x[static_cast<std::size_t>(j)] = 1;
                ASSERT_EQ(f(x.data(), y.data(), flag, scratch.get()), StatusOk);
                int wrong = 0;
                for (int k = 0; k < n; ++k) {
                    const T want = (__builtin_popcount(static_cast<unsigned>(j & k)) & 1) ? -s : s;
                    wrong += y[static_cast<std::size_t>(k)] != want;
                }
                EXPECT_EQ(wrong, 0) << Wht<T>::name << " order " << order << " flag " << flag << " impulse at " << j;
            }
            const T c = T(0.375);
            std::fill(x.begin(), x.end(), c);
            ASSERT_EQ(f(x.data(), y.data(), flag, scratch.get()), StatusOk);
            EXPECT_EQ(y[0], c * T(n) * s) << Wht<T>::name << " order " << order << " flag " << flag;
            EXPECT_EQ(std::count(y.begin() + 1, y.end(), T(0)), n - 1) << "order " << order;
        }
    }
}
TEST(WhtNumeric, ImpulsesAndConstants32f) { impulsesAndConstants<float>(); }
TEST(WhtNumeric, ImpulsesAndConstants64f) { impulsesAndConstants<double>(); }

// H H = N I: small integers survive ScaleNone followed by ScaleFwdByN, and at
// even orders two ScaleBySqrtN calls (exact powers of two), bit for bit.
template <class T>
void selfInverse() {
    for (int order = 1; order <= 13; ++order) {
        const std::size_t n = std::size_t(1) << order;
        const auto f = Wht<T>::kernel(order);
        Scratch<T> scratch(order);
        std::vector<T> x(n), y(n), z(n);
        for (std::size_t i = 0; i < n; ++i) x[i] = static_cast<T>(static_cast<int>((i * 7919u) % 17u) - 8);
        ASSERT_EQ(f(x.data(), y.data(), ScaleNone, scratch.get()), StatusOk);
        ASSERT_EQ(f(y.data(), z.data(), ScaleFwdByN, scratch.get()), StatusOk);
        EXPECT_EQ(z, x) << Wht<T>::name << " order " << order;
        if (order % 2 == 0) {
            ASSERT_EQ(f(x.data(), y.data(), ScaleBySqrtN, scratch.get()), StatusOk);
            ASSERT_EQ(f(y.data(), z.data(), ScaleBySqrtN, scratch.get()), StatusOk);
            EXPECT_EQ(z, x) << Wht<T>::name << " sqrt scaling, order " << order;
        }
    }
}
TEST(WhtNumeric, SelfInverse32f) { selfInverse<float>(); }
TEST(WhtNumeric, SelfInverse64f) { selfInverse<double>(); }

// The kernels keep no state between or during calls: threads transforming
// different data at once, each with its own allocation (null buffer) or its
// own caller's buffer, all get the bits of the level loop.
template <class T>
void concurrentCalls() {
    constexpr int kThreads = 4;
    for (int order : {7, 8, 11, 13}) {
        const std::size_t n = std::size_t(1) << order;
        bool ok[kThreads] = {};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&ok, t, order, n] {
                const auto x = randomReals<T>(n, 400u + 10u * t + order);
                const auto want = levelLoop(x, order, ScaleBySqrtN);
                Scratch<T> scratch(order);
                std::vector<T> y(n);
                bool good = true;
                for (int rep = 0; rep < 8; ++rep) {
                    std::fill(y.begin(), y.end(), T(0));
                    good &= Wht<T>::kernel(order)(x.data(), y.data(), ScaleBySqrtN,
                                                  rep % 2 ? scratch.get() : nullptr) == StatusOk;
                    good &= sameBits(y.data(), want.data(), n * sizeof(T));
                }
                ok[t] = good;
            });
        }
        for (auto& th : threads) th.join();
        for (int t = 0; t < kThreads; ++t) EXPECT_TRUE(ok[t]) << Wht<T>::name << " order " << order << " thread " << t;
    }
}
TEST(WhtNumeric, ConcurrentCalls32f) { concurrentCalls<float>(); }
TEST(WhtNumeric, ConcurrentCalls64f) { concurrentCalls<double>(); }

}  // namespace
