// Mat pixel copies: between Mats in every direction, between the two sides of one Mat, deep copies, the
// unsigned-to-signed conversion, and the reports and statuses of failed runtime calls.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "mat/mat_kinds.hpp"
#include "support/device.hpp"
#include "support/log_capture.hpp"

namespace vela {
namespace test {
namespace {

const std::string kCopyTo =
    "vela::ERROR_CODE vela::Mat::copyTo(vela::Mat&, vela::COPY_TYPE, cudaStream_t) const";
const std::string kSetFrom =
    "vela::ERROR_CODE vela::Mat::setFrom(const vela::Mat&, vela::COPY_TYPE, cudaStream_t)";
const std::string kUpdateCpu = "vela::ERROR_CODE vela::Mat::updateCPUfromGPU(cudaStream_t)";
const std::string kUpdateGpu = "vela::ERROR_CODE vela::Mat::updateGPUfromCPU(cudaStream_t, int)";
const std::string kConvert = "vela::ERROR_CODE vela::convertImage(vela::Mat&, vela::Mat&, cudaStream_t)";

// The failure injected into runtime calls, and the report line it gives under `signature`.
constexpr cudaError_t kInjected = cudaErrorLaunchFailure;
std::string injectedReport(const std::string& signature) {
    return "in " + signature + " : Err [719]: unspecified launch failure.\n";
}

// A stream of its own for the asynchronous paths.
class Stream {
  public:
    Stream() { EXPECT_EQ(cudaStreamCreate(&stream), cudaSuccess); }
    ~Stream() { cudaStreamDestroy(stream); }
    operator cudaStream_t() const { return stream; }  // NOLINT(google-explicit-constructor)
    void wait() const { EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess); }

  private:
    cudaStream_t stream = nullptr;
};

using MatCopies = MatKindTest;
INSTANTIATE_TEST_SUITE_P(Mat, MatCopies, ::testing::ValuesIn(kAllKinds), kindName);

TEST_P(MatCopies, copies_in_each_direction_carry_the_content) {
    Mat source = make();
    fillWithPattern(source);
    for (int value = 0; value < 4; ++value) {
        const auto type = static_cast<COPY_TYPE>(value);
        const bool readsHost = value < 2;
        const MEM written = value == 0 || value == 3 ? MEM::CPU : MEM::GPU;
        const bool readable = readsHost ? hasHost() : hasGpu();
        Mat copied;
        Mat set;
        testing::internal::CaptureStdout();  // a missing source side fails in the runtime, which reports it
        const ERROR_CODE copiedStatus = source.copyTo(copied, type);
        const ERROR_CODE setStatus = set.setFrom(source, type);
        testing::internal::GetCapturedStdout();
        for (const Mat* dst : {&copied, &set}) {
            EXPECT_EQ(dst->memType, written) << value;
            EXPECT_TRUE(dst->memoryOwner) << value;
            EXPECT_EQ(dst->timestamp, 42u) << value;
            if (readable) {
                EXPECT_TRUE(holdsPattern(*dst, written)) << value;
            }
        }
        const ERROR_CODE expected = readable ? ERROR_CODE::SUCCESS : ERROR_CODE::FAILURE;
        EXPECT_EQ(copiedStatus, expected) << value;
        EXPECT_EQ(setStatus, expected) << value;
    }
}

TEST_P(MatCopies, updates_bring_each_side_in_step_with_the_other) {
    Mat mat = make();
    fillWithPattern(mat);
    if (!owned() && !twoBuffers()) {
        vela::test::LogCapture log;
        EXPECT_EQ(mat.updateCPUfromGPU(), ERROR_CODE::FAILURE);
        EXPECT_EQ(mat.updateGPUfromCPU(), ERROR_CODE::FAILURE);
        EXPECT_EQ(log.texts(),
                  (std::vector<std::string>{"[Mat]  updateCPUfromGPU for reference Mat is forbidden.",
                                            "[Mat]  updateGPUfromCPU for reference Mat is forbidden."}));
        return;
    }
    // An owned single side gains the other one; asking for the reverse first finds no buffer to copy from.
    if (GetParam() == Kind::Cpu || GetParam() == Kind::Gpu) {
        const bool fromHost = GetParam() == Kind::Cpu;
        testing::internal::CaptureStdout();
        EXPECT_EQ(fromHost ? mat.updateCPUfromGPU() : mat.updateGPUfromCPU(), ERROR_CODE::FAILURE);
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(printed.rfind("in " + (fromHost ? kUpdateCpu : kUpdateGpu) + " : Err [", 0), 0u) << printed;
        EXPECT_EQ(fromHost ? mat.updateGPUfromCPU() : mat.updateCPUfromGPU(), ERROR_CODE::SUCCESS);
        EXPECT_EQ(mat.memType, MEM_BOTH);
        EXPECT_TRUE(mat.memoryOwner);
        EXPECT_EQ(mat.stepCPU, kRowBytes) << "the new host rows are packed";
        EXPECT_GE(mat.stepGPU, kRowBytes);
        EXPECT_TRUE(holdsPattern(mat, fromHost ? MEM::GPU : MEM::CPU));
    }
    const MEM memType = mat.memType;
    const Stream stream;
    writePattern(mat, MEM::GPU, 1);
    EXPECT_EQ(mat.updateCPUfromGPU(stream), ERROR_CODE::SUCCESS);
    stream.wait();
    EXPECT_TRUE(holdsPattern(mat, MEM::CPU, 1));
    writePattern(mat, MEM::CPU, 2);
    EXPECT_EQ(mat.updateGPUfromCPU(stream), ERROR_CODE::SUCCESS);
    stream.wait();
    EXPECT_TRUE(holdsPattern(mat, MEM::GPU, 2));
    writePattern(mat, MEM::CPU, 3);
    EXPECT_EQ(mat.updateGPUfromCPU(), ERROR_CODE::SUCCESS);
    EXPECT_TRUE(holdsPattern(mat, MEM::GPU, 3));
    EXPECT_EQ(mat.memType, memType);
}

TEST_P(MatCopies, clone_owns_an_equal_and_independent_copy) {
    const MEM expected[] = {MEM::CPU,    MEM::GPU, MEM_UNIFIED, MEM_MANAGED,
                            MEM_UNIFIED, MEM::CPU, MEM::GPU,    MEM_UNIFIED};
    Mat source = make();
    fillWithPattern(source);
    Mat copy;
    ASSERT_EQ(copy.clone(source), ERROR_CODE::SUCCESS);
    EXPECT_EQ(copy.memType, expected[static_cast<int>(GetParam())]);
    EXPECT_TRUE(copy.memoryOwner);
    EXPECT_EQ(copy.timestamp, 42u);
    EXPECT_NE(copy.getPtr<Element>(firstSide()), source.getPtr<Element>(firstSide()));
    EXPECT_TRUE(holdsPattern(copy, firstSide()));
    if (hasHost() && hasGpu()) {
        EXPECT_TRUE(holdsPattern(copy, MEM::GPU));
    }
    writePattern(source, firstSide(), 5);
    EXPECT_TRUE(holdsPattern(copy, firstSide()));

    const Mat& itself = source;
    ASSERT_EQ(source.clone(itself), ERROR_CODE::SUCCESS);
    EXPECT_TRUE(source.memoryOwner);
    EXPECT_TRUE(holdsPattern(source, firstSide(), 5));
}

class MatTransfer : public GpuTest {};

// Every byte of a host image, worked from its index.
std::vector<unsigned char> byteRamp(size_t count) {
    std::vector<unsigned char> bytes(count);
    for (size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<unsigned char>(i * 7 + 3);
    return bytes;
}

TEST_F(MatTransfer, padded_gpu_rows_round_trip_through_host_and_back_unchanged) {
    constexpr size_t kW = 7, kH = 5, kRow = kW * 3;  // 21-byte U8_C3 rows
    std::vector<unsigned char> bytes = byteRamp(kRow * kH);
    const Mat source(kW, kH, MAT_TYPE::U8_C3, bytes.data(), kRow, MEM::CPU);
    const Stream stream;
    Mat gpu;
    Mat gpuCopy;
    Mat back;
    ASSERT_EQ(source.copyTo(gpu, COPY_TYPE::CPU_GPU, stream), ERROR_CODE::SUCCESS);
    ASSERT_EQ(gpu.copyTo(gpuCopy, COPY_TYPE::GPU_GPU, stream), ERROR_CODE::SUCCESS);
    ASSERT_EQ(back.setFrom(gpuCopy, COPY_TYPE::GPU_CPU, stream), ERROR_CODE::SUCCESS);
    stream.wait();
    EXPECT_GT(gpu.stepGPU, kRow);
    if (isSimulated()) {
        EXPECT_EQ(gpu.stepGPU, 512u);
    }
    ASSERT_EQ(back.stepCPU, kRow);
    EXPECT_EQ(std::memcmp(back.getPtr<unsigned char>(), bytes.data(), bytes.size()), 0);
    Vector3<unsigned char> last;
    ASSERT_EQ(gpuCopy.getValue(kW - 1, kH - 1, &last, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(last, Vector3<unsigned char>(&bytes[kRow * kH - 3]));
}

// A destination of the right size, type and side is written in place; any other is reallocated, a
// reference included. A Mat is not reallocated to receive its own content.
TEST_F(MatTransfer, copy_reuses_a_fitting_destination_and_reallocates_any_other) {
    Mat source(4, 2, MAT_TYPE::U16_C1, MEM::GPU);
    ASSERT_EQ(source.setTo<unsigned short>(0xBEEF, MEM::GPU), ERROR_CODE::SUCCESS);
    source.timestamp = 9;
    Mat host(4, 2, MAT_TYPE::U16_C1);
    Mat mapped(4, 2, MAT_TYPE::U16_C1, MEM_BOTH);
    for (Mat* dst : {&host, &mapped}) {
        const unsigned char* buffer = dst->cpuBuffer.get();
        const MEM memType = dst->memType;
        ASSERT_EQ(source.copyTo(*dst, COPY_TYPE::GPU_CPU), ERROR_CODE::SUCCESS);
        EXPECT_EQ(dst->cpuBuffer.get(), buffer);
        EXPECT_EQ(dst->memType, memType);
        EXPECT_EQ(dst->timestamp, 9u);
        unsigned short value = 0;
        EXPECT_EQ(dst->getValue(3, 1, &value), ERROR_CODE::SUCCESS);
        EXPECT_EQ(value, 0xBEEF);
    }
    const Mat bytes(4, 2, MAT_TYPE::U8_C2);
    Mat otherType(4, 2, MAT_TYPE::U16_C1, MEM::GPU);
    Mat otherSide(4, 2, MAT_TYPE::U8_C2, MEM::GPU);
    Mat reference(otherSide);
    for (Mat* dst : {&otherType, &otherSide, &reference}) {
        ASSERT_EQ(bytes.copyTo(*dst, COPY_TYPE::CPU_CPU), ERROR_CODE::SUCCESS);
        EXPECT_EQ(dst->memType, MEM::CPU);
        EXPECT_EQ(dst->dataType, MAT_TYPE::U8_C2);
        EXPECT_TRUE(dst->memoryOwner);
    }
    ASSERT_EQ(host.setTo<unsigned short>(7), ERROR_CODE::SUCCESS);
    EXPECT_EQ(host.copyTo(host, COPY_TYPE::CPU_GPU), ERROR_CODE::FAILURE);
    EXPECT_EQ(host.copyTo(host, COPY_TYPE::CPU_CPU), ERROR_CODE::SUCCESS);
    unsigned short value = 0;
    EXPECT_EQ(host.getValue(3, 1, &value), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value, 7);
}

TEST_F(MatTransfer, unknown_copy_type_reallocates_on_the_host_and_copies_through_the_runtime) {
    Mat source(3, 2, MAT_TYPE::F32_C1);
    ASSERT_EQ(source.setTo(1.5f), ERROR_CODE::SUCCESS);
    Mat dst(3, 2, MAT_TYPE::F32_C1, MEM::GPU);
    ASSERT_EQ(source.copyTo(dst, static_cast<COPY_TYPE>(7)), ERROR_CODE::SUCCESS);
    EXPECT_EQ(dst.memType, MEM::CPU);
    float value = 0;
    EXPECT_EQ(dst.getValue(2, 1, &value), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value, 1.5f);
    if (!injectFailure("cudaMemcpy2D", kInjected)) GTEST_SKIP() << "failures cannot be injected";
    testing::internal::CaptureStdout();
    EXPECT_EQ(dst.setFrom(source, static_cast<COPY_TYPE>(-1)), ERROR_CODE::FAILURE);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), injectedReport(kSetFrom));
}

TEST_F(MatTransfer, clone_of_an_empty_mat_fails_and_clone_of_two_buffers_is_mapped) {
    Mat copy;
    EXPECT_EQ(copy.clone(Mat()), ERROR_CODE::FAILURE);
    EXPECT_FALSE(copy.initialized);
    Mat source(2, 2, MAT_TYPE::U8_C1, MEM::GPU);
    ASSERT_EQ(source.setTo<unsigned char>(1, MEM::GPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(source.updateCPUfromGPU(), ERROR_CODE::SUCCESS);
    ASSERT_EQ(source.setTo<unsigned char>(2, MEM::GPU), ERROR_CODE::SUCCESS);  // the two sides now differ
    ASSERT_EQ(copy.clone(source), ERROR_CODE::SUCCESS);
    EXPECT_EQ(copy.memType, MEM_UNIFIED);
    unsigned char value = 0;
    EXPECT_EQ(copy.getValue(1, 1, &value, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value, 1) << "the GPU side is filled from the source's host side";
}

TEST_F(MatTransfer, refused_update_logs_nothing_when_the_logger_filters_errors) {
    const Mat owner(2, 2, MAT_TYPE::U8_C1, MEM::GPU);
    Mat view(owner);
    vela::test::LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::CRITICAL);
    EXPECT_EQ(view.updateCPUfromGPU(), ERROR_CODE::FAILURE);
    EXPECT_TRUE(log.take().empty());
    EXPECT_EQ(view.memType, MEM::GPU);
}

TEST_F(MatTransfer, convert_image_shifts_every_channel_by_minus_128) {
    using U = Vector4<unsigned char>;
    using S = Vector4<char>;
    Mat source(3, 2, MAT_TYPE::U8_C4);
    for (size_t y = 0; y < 2; ++y)
        for (size_t x = 0; x < 3; ++x)
            ASSERT_EQ(source.setValue(x, y, U(0, 127, 128, 255)), ERROR_CODE::SUCCESS);
    ASSERT_EQ(source.setValue(2, 1, U(1, 2, 200, 100)), ERROR_CODE::SUCCESS);
    EXPECT_EQ(convertImage(source, source), ERROR_CODE::FAILURE) << "host-only source";
    ASSERT_EQ(source.updateGPUfromCPU(), ERROR_CODE::SUCCESS);
    Mat converted;
    ASSERT_EQ(convertImage(source, converted), ERROR_CODE::SUCCESS);
    ASSERT_EQ(cudaDeviceSynchronize(), cudaSuccess);
    EXPECT_EQ(converted.dataType, MAT_TYPE::S8_C4);
    EXPECT_EQ(converted.memType, MEM::GPU);
    S value;
    ASSERT_EQ(converted.getValue(0, 0, &value, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value, S(-128, -1, 0, 127));
    ASSERT_EQ(converted.getValue(2, 1, &value, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value, S(-127, -126, 72, -28));

    const unsigned char* buffer = converted.gpuBuffer.get();
    ASSERT_EQ(convertImage(source, converted), ERROR_CODE::SUCCESS);
    EXPECT_EQ(converted.gpuBuffer.get(), buffer) << "a fitting destination is kept";
    // A destination of another width or height, or without a GPU side, is made anew.
    Mat narrow(1, 2, MAT_TYPE::S8_C4, MEM::GPU), flat(3, 1, MAT_TYPE::S8_C4, MEM::GPU),
        hostOnly(3, 2, MAT_TYPE::S8_C4, MEM::CPU);
    for (Mat* other : {&narrow, &flat, &hostOnly}) {
        ASSERT_EQ(convertImage(source, *other), ERROR_CODE::SUCCESS);
        EXPECT_EQ(other->width * other->height, 6u);
        EXPECT_EQ(other->memType, MEM::GPU);
    }
    EXPECT_EQ(convertImage(source, source), ERROR_CODE::FAILURE);
    Mat empty;
    EXPECT_EQ(convertImage(empty, converted), ERROR_CODE::FAILURE);
    Mat gray(3, 2, MAT_TYPE::U8_C1, MEM::GPU);
    EXPECT_EQ(convertImage(gray, converted), ERROR_CODE::FAILURE);
}

using Outcome = std::pair<ERROR_CODE, std::string>;

// Runs `operation` and returns its status with what it printed.
template <typename Operation>
Outcome outcomeOf(Operation operation) {
    testing::internal::CaptureStdout();
    const ERROR_CODE status = operation();
    return {status, testing::internal::GetCapturedStdout()};
}

TEST_F(MatTransfer, failed_copies_are_reported_under_the_caller_and_fail) {
    const Stream stream;
    Mat host(4, 2, MAT_TYPE::U8_C1);
    Mat gpu(4, 2, MAT_TYPE::U8_C1, MEM::GPU);
    if (!injectFailure("cudaMemcpy2D", kInjected)) GTEST_SKIP() << "failures cannot be injected";
    EXPECT_EQ(outcomeOf([&] { return host.copyTo(gpu, COPY_TYPE::CPU_GPU); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kCopyTo)));
    injectFailure("cudaMemcpy2D", kInjected);
    EXPECT_EQ(outcomeOf([&] { return host.setFrom(gpu, COPY_TYPE::GPU_CPU); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kSetFrom)));
    injectFailure("cudaMemcpy2DAsync", kInjected);
    EXPECT_EQ(outcomeOf([&] { return gpu.copyTo(host, COPY_TYPE::GPU_CPU, stream); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kCopyTo)));
    injectFailure("cudaMemcpy2D", kInjected);
    EXPECT_EQ(outcomeOf([&] { return gpu.updateCPUfromGPU(); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kUpdateCpu)));
    injectFailure("cudaMemcpy2DAsync", kInjected);
    EXPECT_EQ(outcomeOf([&] { return gpu.updateGPUfromCPU(stream); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kUpdateGpu)));
    injectFailure("cudaMallocPitch", kInjected);
    EXPECT_EQ(outcomeOf([&] { return host.updateGPUfromCPU(); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kUpdateGpu)));
    EXPECT_EQ(host.memType, MEM::CPU) << "no GPU buffer was added";
}

TEST_F(MatTransfer, failed_waits_and_attachments_are_reported_under_the_caller) {
    const Stream stream;
    Mat managed(4, 2, MAT_TYPE::U8_C1, MEM_MANAGED);
    Mat mapped(4, 2, MAT_TYPE::U8_C1, MEM_BOTH);
    if (!injectFailure("cudaStreamAttachMemAsync", kInjected)) GTEST_SKIP() << "failures cannot be injected";
    EXPECT_EQ(outcomeOf([&] { return managed.updateCPUfromGPU(stream); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kUpdateCpu)));
    injectFailure("cudaStreamAttachMemAsync", kInjected);
    EXPECT_EQ(outcomeOf([&] { return managed.updateGPUfromCPU(stream); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kUpdateGpu)));
    // For managed memory the attachment decides the status; the wait is reported all the same.
    injectFailure("cudaStreamSynchronize", kInjected);
    EXPECT_EQ(outcomeOf([&] { return managed.updateCPUfromGPU(stream); }),
              Outcome(ERROR_CODE::SUCCESS, injectedReport(kUpdateCpu)));
    injectFailure("cudaStreamSynchronize", kInjected);
    EXPECT_EQ(outcomeOf([&] { return mapped.updateCPUfromGPU(stream); }),
              Outcome(ERROR_CODE::FAILURE, injectedReport(kUpdateCpu)));
    injectFailure("cudaStreamSynchronize", kInjected);
    EXPECT_EQ(outcomeOf([&] { return mapped.updateGPUfromCPU(stream); }), Outcome(ERROR_CODE::SUCCESS, ""));
    EXPECT_EQ(cudaStreamSynchronize(stream), kInjected)
        << "mapped memory is not waited for on the way to the GPU";
    cudaGetLastError();
}

TEST_F(MatTransfer, failed_conversion_launch_is_reported_and_the_call_succeeds) {
    Mat source(2, 2, MAT_TYPE::U8_C4, MEM::GPU);
    Mat converted(2, 2, MAT_TYPE::S8_C4, MEM::GPU);
    if (!injectFailure("cudaLaunchKernel", kInjected)) GTEST_SKIP() << "failures cannot be injected";
    EXPECT_EQ(outcomeOf([&] { return convertImage(source, converted); }),
              Outcome(ERROR_CODE::SUCCESS, injectedReport(kConvert)));
}

}  // namespace
}  // namespace test
}  // namespace vela
