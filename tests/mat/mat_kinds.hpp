#pragma once

// The memory kinds a Mat's storage can take, owned or wrapped, for tests parametrised over all of them,
// and a pattern worked out from each element's coordinates. Public interface only: these tests also run
// on the real CUDA runtime.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstddef>
#include <string>
#include <vector>

#include "support/device.hpp"

namespace vela {
namespace test {

enum class Kind { Cpu, Gpu, Both, Managed, Unified, UserCpu, UserGpu, UserBoth };

inline const Kind kAllKinds[] = {Kind::Cpu,     Kind::Gpu,     Kind::Both,    Kind::Managed,
                                 Kind::Unified, Kind::UserCpu, Kind::UserGpu, Kind::UserBoth};

inline std::string kindName(const ::testing::TestParamInfo<Kind>& info) {
    const char* names[] = {"Cpu", "Gpu", "Both", "Managed", "Unified", "UserCpu", "UserGpu", "UserBoth"};
    return names[static_cast<int>(info.param)];
}

/// F32_C3 rows are 60 bytes: no GPU pitch is a whole number of 12-byte elements.
constexpr size_t kWidth = 5;
constexpr size_t kHeight = 3;
constexpr MAT_TYPE kType = MAT_TYPE::F32_C3;
using Element = Vector3<float>;
constexpr size_t kRowBytes = kWidth * sizeof(Element);

/// Differs at every element and in every channel; `seed` tells two patterns apart.
inline Element patternAt(size_t x, size_t y, float seed = 0) {
    return Element(static_cast<float>(x) + seed, static_cast<float>(y), static_cast<float>(100 * y + x));
}

/// Writes the pattern into side `mem` with setValue.
inline void writePattern(Mat& mat, MEM mem, float seed = 0) {
    for (size_t y = 0; y < mat.height; ++y)
        for (size_t x = 0; x < mat.width; ++x)
            ASSERT_EQ(mat.setValue(x, y, patternAt(x, y, seed), mem), ERROR_CODE::SUCCESS);
}

/// Whether side `mem` holds the pattern, read with getValue.
inline ::testing::AssertionResult holdsPattern(const Mat& mat, MEM mem, float seed = 0) {
    if (mat.width != kWidth || mat.height != kHeight) return ::testing::AssertionFailure() << "wrong size";
    for (size_t y = 0; y < kHeight; ++y) {
        for (size_t x = 0; x < kWidth; ++x) {
            Element value;
            if (mat.getValue(x, y, &value, mem) != ERROR_CODE::SUCCESS)
                return ::testing::AssertionFailure() << "getValue failed at " << x << "," << y;
            if (value != patternAt(x, y, seed))
                return ::testing::AssertionFailure() << "element " << x << "," << y << " differs";
        }
    }
    return ::testing::AssertionSuccess();
}

/// Base of the tests over memory kinds: makes a kW x kH F32_C3 Mat of the parameter's kind and owns the
/// user buffers that the wrapped kinds refer to.
class MatKindTest : public GpuTest, public ::testing::WithParamInterface<Kind> {
  protected:
    void TearDown() override {
        for (void* block : userGpuBlocks)
            cudaFree(block);
        GpuTest::TearDown();
    }

    bool owned() const { return GetParam() < Kind::UserCpu; }
    bool hasHost() const { return GetParam() != Kind::Gpu && GetParam() != Kind::UserGpu; }
    bool hasGpu() const { return GetParam() != Kind::Cpu && GetParam() != Kind::UserCpu; }
    /// Two buffers that hold their own copies of the content.
    bool twoBuffers() const { return GetParam() == Kind::UserBoth; }
    /// The side written first: the host when there is one.
    MEM firstSide() const { return hasHost() ? MEM::CPU : MEM::GPU; }

    Mat make() {
        const MEM ownedMemory[] = {MEM::CPU, MEM::GPU, MEM_BOTH, MEM_MANAGED, MEM_UNIFIED};
        if (owned()) return Mat(kWidth, kHeight, kType, ownedMemory[static_cast<int>(GetParam())]);
        if (GetParam() == Kind::UserCpu)
            return Mat(kWidth, kHeight, kType, userHostBlock(), kRowBytes, MEM::CPU);
        size_t pitch = 0;
        unsigned char* block = userGpuBlock(&pitch);
        if (GetParam() == Kind::UserGpu) return Mat(kWidth, kHeight, kType, block, pitch, MEM::GPU);
        return Mat(kWidth, kHeight, kType, userHostBlock(), kRowBytes, block, pitch);
    }

    /// Writes the pattern on every side `mat` has, and a time stamp.
    void fillWithPattern(Mat& mat, float seed = 0) {
        writePattern(mat, firstSide(), seed);
        if (twoBuffers()) {
            EXPECT_EQ(mat.updateGPUfromCPU(), ERROR_CODE::SUCCESS);
        }
        mat.timestamp = 42;
    }

  private:
    unsigned char* userHostBlock() {
        userHostBlocks.emplace_back(kRowBytes * kHeight);
        return userHostBlocks.back().data();
    }
    unsigned char* userGpuBlock(size_t* pitch) {
        void* block = nullptr;
        EXPECT_EQ(cudaMallocPitch(&block, pitch, kRowBytes, kHeight), cudaSuccess);
        userGpuBlocks.push_back(block);
        return static_cast<unsigned char*>(block);
    }

    std::vector<std::vector<unsigned char>> userHostBlocks;
    std::vector<void*> userGpuBlocks;
};

}  // namespace test
}  // namespace vela
