#include <gtest/gtest.h>

#include <cstring>

#include "qrbgen.h"

TEST(Version, RecordIsConstantAndComplete) {
    const LibVersion* v = qrbgenGetLibVersion();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v, qrbgenGetLibVersion());
    EXPECT_EQ(v->major, 6);
    EXPECT_EQ(v->minor, 1);
    EXPECT_EQ(v->buildMajor, 137);
    EXPECT_EQ(v->buildMinor, 336);
    EXPECT_EQ(std::memcmp(v->targetCpu, "v8\0\0", 4), 0);
    EXPECT_STREQ(v->name, "libqrbgenv8.so.6.1");
    EXPECT_STREQ(v->version, "6.1 build 137.56");
    EXPECT_STREQ(v->buildDate, "Mar 17 2010");
}

TEST(Version, RecordLayoutIs32BytesOn32BitTargets) {
    if (sizeof(void*) != 4) GTEST_SKIP() << "layout figure holds for 32-bit pointers";
    EXPECT_EQ(sizeof(LibVersion), 32u);
    EXPECT_EQ(offsetof(LibVersion, targetCpu), 16u);
    EXPECT_EQ(offsetof(LibVersion, name), 20u);
}

TEST(CoreAllocator, AlignmentAndBadSizes) {
    for (int size : {1, 31, 32, 1000, 1 << 20}) {
        void* p = qrbMalloc(size);
        ASSERT_NE(p, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u) << size;
        std::memset(p, 0x5a, static_cast<std::size_t>(size));
        qrbFree(p);
    }
    EXPECT_EQ(qrbMalloc(0), nullptr);
    EXPECT_EQ(qrbMalloc(-5), nullptr);
    qrbFree(nullptr);  // a no-op
}
