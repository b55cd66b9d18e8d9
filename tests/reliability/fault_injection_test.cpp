// Injected faults on the simulated device: every checked CUDA call of the library has a test that makes it
// fail, a workload survives each runtime function failing at each of its steps, and a host allocation the
// allocator refuses leaves the Mat owning nothing.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <new>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "sim_device.hpp"
#include "support/log_capture.hpp"

// The test executable's host allocator refuses arrays past 1 TiB, as one on a machine with less memory
// would, by throwing: the sanitizers' allocators abort on such requests instead. Everything else is served
// by malloc, so that arrays are released consistently whoever releases them.
// A test may lower the limit for a while to make an ordinary allocation fail.
namespace {
constexpr size_t kLargestArray = size_t{1} << 40;
std::atomic<size_t> largestArray{kLargestArray};
}  // namespace

void* operator new[](size_t bytes) {
    if (bytes > largestArray.load()) throw std::bad_alloc();
    if (void* block = std::malloc(bytes == 0 ? 1 : bytes)) return block;
    throw std::bad_alloc();
}
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept {
    return bytes > largestArray.load() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
void operator delete[](void* block) noexcept {
    std::free(block);
}
void operator delete[](void* block, size_t) noexcept {
    std::free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}

namespace vela {
namespace {

namespace fs = std::filesystem;

const std::string kAlloc = "void vela::Mat::alloc(size_t, size_t, vela::MAT_TYPE, vela::MEM)";
const std::string kUpdateCpu = "vela::ERROR_CODE vela::Mat::updateCPUfromGPU(cudaStream_t)";
const std::string kUpdateGpu = "vela::ERROR_CODE vela::Mat::updateGPUfromCPU(cudaStream_t, int)";
const std::string kConvert = "vela::ERROR_CODE vela::convertImage(vela::Mat&, vela::Mat&, cudaStream_t)";

constexpr cudaError_t kInjected = cudaErrorLaunchFailure;

std::string report(const std::string& signature, int code, const std::string& text) {
    return "in " + signature + " : Err [" + std::to_string(code) + "]: " + text + ".\n";
}

// ---- The checked calls in the library's sources ----

// A checked CUDA call as the sources spell it.
struct Site {
    std::string file;       ///< path under src/
    std::string call;       ///< the checked expression up to its argument list
    std::string signature;  ///< the report's signature text, or the expression that passes a caller's on
    bool operator<(const Site& other) const {
        return std::tie(file, call, signature) < std::tie(other.file, other.call, other.signature);
    }
};

// One past the closing quote of the string or character literal whose quote is at `open`; raw strings too.
size_t literalEnd(const std::string& text, size_t open) {
    if (text[open] == '"' && open > 0 && text[open - 1] == 'R') {
        const size_t paren = text.find('(', open);
        const std::string closing = ")" + text.substr(open + 1, paren - open - 1) + "\"";
        const size_t end = text.find(closing, paren);
        return end == std::string::npos ? text.size() : end + closing.size();
    }
    size_t i = open + 1;
    while (i < text.size() && text[i] != text[open])
        i += text[i] == '\\' ? 2 : 1;
    return std::min(i + 1, text.size());
}

// `text` without its comments; literals are kept whole.
std::string withoutComments(const std::string& text) {
    std::string kept;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"' || text[i] == '\'') {
            const size_t end = literalEnd(text, i);
            kept.append(text, i, end - i);
            i = end - 1;
        } else if (text.compare(i, 2, "//") == 0) {
            i = std::min(text.find('\n', i), text.size()) - 1;
        } else if (text.compare(i, 2, "/*") == 0) {
            i = std::min(text.find("*/", i + 2), text.size() - 2) + 1;
            kept += ' ';
        } else {
            kept += text[i];
        }
    }
    return kept;
}

// `text` with the insides of its literals blanked, so that searching it finds code only.
std::string codeOnly(const std::string& text) {
    std::string code = text;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '"' && text[i] != '\'') continue;
        const size_t end = literalEnd(text, i);
        std::fill(code.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                  code.begin() + static_cast<std::ptrdiff_t>(end) - 1, ' ');
        i = end - 1;
    }
    return code;
}

// `text` with each run of blanks made one space, and none at either end.
std::string collapsed(const std::string& text) {
    std::istringstream words(text);
    std::string result;
    for (std::string word; words >> word;)
        result += (result.empty() ? "" : " ") + word;
    return result;
}

bool isIdentifierChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Where the identifier `name` next appears in `text` at or after `from`, as a whole token.
size_t findToken(const std::string& text, const std::string& name, size_t from) {
    for (size_t at = text.find(name, from); at != std::string::npos; at = text.find(name, at + 1)) {
        const size_t after = at + name.size();
        if ((at == 0 || !isIdentifierChar(text[at - 1])) &&
            (after == text.size() || !isIdentifierChar(text[after])))
            return at;
    }
    return std::string::npos;
}

// The arguments of the call whose parenthesis is at `open`, split at its own commas, blanks collapsed.
std::vector<std::string> argumentsAt(const std::string& text, size_t open) {
    std::vector<std::string> arguments(1);
    int depth = 0;
    for (size_t i = open; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' || c == '\'') {
            const size_t end = literalEnd(text, i);
            arguments.back().append(text, i, end - i);
            i = end - 1;
            continue;
        }
        if (c == '(' || c == '[' || c == '{') {
            if (depth++ == 0) continue;
        } else if (c == ')' || c == ']' || c == '}') {
            if (--depth == 0) break;
        } else if (c == ',' && depth == 1) {
            arguments.emplace_back();
            continue;
        }
        arguments.back() += c;
    }
    for (std::string& argument : arguments)
        argument = collapsed(argument);
    return arguments;
}

// The contents of the adjacent string literals that start at `at`, joined.
std::string literalsAt(const std::string& text, size_t at) {
    std::string joined;
    while (at < text.size() && text[at] == '"') {
        const size_t end = literalEnd(text, at);
        joined.append(text, at + 1, end - at - 2);
        at = text.find_first_not_of(" \t\n", end);
    }
    return joined;
}

// The text `expression` stands for: its literals, or those a name of the same file (`text`, searched in
// `code`) is initialised with; otherwise the expression itself (a parameter that passes a caller's on).
std::string signatureText(const std::string& expression, const std::string& text, const std::string& code) {
    if (!expression.empty() && expression.front() == '"') return literalsAt(expression, 0);
    for (size_t at = findToken(code, expression, 0); at != std::string::npos;
         at = findToken(code, expression, at + 1)) {
        const size_t equals = text.find_first_not_of(" \t\n", at + expression.size());
        if (equals == std::string::npos || text[equals] != '=' || text[equals + 1] == '=') continue;
        const size_t value = text.find_first_not_of(" \t\n", equals + 1);
        if (value != std::string::npos && text[value] == '"') return literalsAt(text, value);
    }
    return expression;
}

// Every VELA_CUDA_CHECK and __cudaSafeCall in the sources under `root`.
std::vector<Site> checkedCalls(const fs::path& root) {
    std::vector<Site> sites;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        const std::string extension = entry.path().extension().string();
        if (!entry.is_regular_file() || (extension != ".cpp" && extension != ".hpp" && extension != ".cu" &&
                                         extension != ".cuh" && extension != ".h"))
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        const std::string text = withoutComments(content.str());
        const std::string code = codeOnly(text);
        const std::string relative = entry.path().lexically_relative(root).generic_string();
        for (const std::string check : {"VELA_CUDA_CHECK", "__cudaSafeCall"}) {
            // The macro takes (call, signature); the function (err, function, file, line).
            const bool macro = check == "VELA_CUDA_CHECK";
            for (size_t at = findToken(code, check, 0); at != std::string::npos;
                 at = findToken(code, check, at + 1)) {
                const size_t open = text.find_first_not_of(" \t\n", at + check.size());
                if (open == std::string::npos || text[open] != '(') continue;
                const std::vector<std::string> arguments = argumentsAt(text, open);
                if (!macro && arguments.front().rfind("cudaError_t ", 0) == 0) continue;  // its definition
                const size_t fromEnd = macro ? 1 : 3;
                const std::string signature =
                    arguments.size() > fromEnd ? arguments[arguments.size() - fromEnd] : "";
                const std::string& call = arguments.front();
                sites.push_back({relative, collapsed(call.substr(0, call.find('('))),
                                 signatureText(signature, text, code)});
            }
        }
    }
    return sites;
}

// ---- Which test makes each checked call fail ----

const char* const kAllocFaults = "MatStorage.failed_allocation_calls_are_reported_and_the_mat_still_owns";
const char* const kReleaseFaults = "MatStorage.failed_release_is_reported_by_the_deleter";
const char* const kAccessFaults = "MatAccess.failed_gpu_calls_are_reported_under_the_member_and_succeed";
const char* const kCopyFaults = "MatTransfer.failed_copies_are_reported_under_the_caller_and_fail";
const char* const kWaitFaults = "MatTransfer.failed_waits_and_attachments_are_reported_under_the_caller";
const char* const kConvertFaults = "MatTransfer.failed_conversion_launch_is_reported_and_the_call_succeeds";
const char* const kCloudFaults = "PointCloudConversion.runtime_failures_are_reported_and_fail_the_conversion";
const char* const kPointCloudFaults = "PointCloudGpu.launch_failures_are_reported_and_fail_the_call";
const char* const kUnit = "vela::ERROR_CODE vela::convertUnit(vela::Mat&, vela::UNIT, vela::UNIT, vela::MEM)";
const char* const kSystem =
    "vela::ERROR_CODE vela::convertCoordinateSystem(vela::Mat&, vela::COORDINATE_SYSTEM, "
    "vela::COORDINATE_SYSTEM, vela::MEM)";

// One entry per checked call: its file under src/, the call, the signature text (or, for a helper that
// checks on its callers' behalf, the expression it is passed in), and the test, Suite.name, that makes the
// call fail and checks the report, the status and what is left. Calls alike in all three need one entry
// each.
struct FaultCase {
    const char* file;
    const char* call;
    std::string signature;
    const char* test;
};
const FaultCase kFaultCases[] = {
    {"mat/mat_alloc.cpp", "release", "signature", kReleaseFaults},
    {"mat/mat_alloc.cpp", "cudaMallocManaged", kAlloc, kAllocFaults},
    {"mat/mat_alloc.cpp", "cudaHostAlloc", kAlloc, kAllocFaults},
    {"mat/mat_alloc.cpp", "cudaHostGetDevicePointer", kAlloc, kAllocFaults},
    {"mat/mat_alloc.cpp", "cudaMallocPitch", kAlloc, kAllocFaults},
    {"mat/mat_access.cpp", "cu_matSetToGPU", "(signatureOf<T, &kSetTo>())", kAccessFaults},
    {"mat/mat_access.cpp", "cudaMemcpy", "(signatureOf<T, &kSetValue>())", kAccessFaults},
    {"mat/mat_access.cpp", "cudaMemcpy", "(signatureOf<T, &kGetValue>())", kAccessFaults},
    {"mat/mat_transfer.cpp", "copy2D", "signature", kCopyFaults},
    {"mat/mat_transfer.cpp", "cudaStreamAttachMemAsync", kUpdateCpu, kWaitFaults},
    {"mat/mat_transfer.cpp", "cudaStreamSynchronize", kUpdateCpu, kWaitFaults},  // managed memory
    {"mat/mat_transfer.cpp", "cudaStreamSynchronize", kUpdateCpu, kWaitFaults},  // mapped memory
    {"mat/mat_transfer.cpp", "copy2D", kUpdateCpu, kCopyFaults},
    {"mat/mat_transfer.cpp", "cudaStreamAttachMemAsync", kUpdateGpu, kWaitFaults},
    {"mat/mat_transfer.cpp", "cudaMallocPitch", kUpdateGpu, kCopyFaults},
    {"mat/mat_transfer.cpp", "copy2D", kUpdateGpu, kCopyFaults},
    {"mat/mat_transfer.cpp", "cu_cvt2Signed", kConvert, kConvertFaults},
    {"geometry/coordinate_system_mat.cpp", "launchFactor", kUnit, kCloudFaults},
    {"geometry/coordinate_system_mat.cpp", "launchTransform", kSystem, kCloudFaults},
    {"geometry/point_cloud.cpp", "cu_depthToPointCloud",
     "vela::ERROR_CODE vela::depthToPointCloud(const vela::Mat&, const vela::Mat&, const "
     "vela::CameraParameters&, "
     "vela::Mat&, const vela::DepthToPointCloudParameters&, vela::MEM, cudaStream_t)",
     kPointCloudFaults},
    {"geometry/point_cloud.cpp", "cu_transformPointCloud",
     "vela::ERROR_CODE vela::transformPointCloud(vela::Mat&, const vela::Transform&, vela::MEM, "
     "cudaStream_t)",
     kPointCloudFaults},
    {"geometry/point_cloud.cpp", "cu_scalePointCloud",
     "vela::ERROR_CODE vela::convertPointCloudUnit(vela::Mat&, vela::UNIT, vela::UNIT, vela::MEM, "
     "cudaStream_t)",
     kPointCloudFaults},
};

bool isRegistered(const std::string& test) {
    const ::testing::UnitTest& unit = *::testing::UnitTest::GetInstance();
    for (int i = 0; i < unit.total_test_suite_count(); ++i) {
        const ::testing::TestSuite& suite = *unit.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            if (test == std::string(suite.name()) + "." + suite.GetTestInfo(j)->name()) return true;
        }
    }
    return false;
}

TEST(FaultInjection, every_checked_cuda_call_has_a_fault_case) {
    std::map<Site, int> unmatched;  // found in the sources: +1; listed here: -1
    const std::vector<Site> found = checkedCalls(VELA_SOURCE_DIR);
    ASSERT_GE(found.size(), std::size(kFaultCases) / 2)
        << "the sources at " << VELA_SOURCE_DIR << " were not read";
    for (const Site& site : found)
        ++unmatched[site];
    for (const FaultCase& c : kFaultCases) {
        --unmatched[{c.file, c.call, c.signature}];
        EXPECT_TRUE(isRegistered(c.test)) << c.test << " is no test of this executable";
    }
    for (const auto& [site, count] : unmatched) {
        EXPECT_LE(count, 0) << "src/" << site.file << ": " << site.call << " is checked under \""
                            << site.signature
                            << "\" without a fault case; add a test that makes it fail and the entry\n    {\""
                            << site.file << "\", \"" << site.call << "\", \"" << site.signature
                            << "\", <Suite.test>},";
        EXPECT_GE(count, 0) << "no checked call in src/" << site.file << " matches the entry {\"" << site.file
                            << "\", \"" << site.call << "\", \"" << site.signature << "\"}";
    }
}

// ---- Faults the module tests do not reach ----

TEST(FaultInjection, a_refused_host_array_leaves_the_mat_owning_nothing) {
    constexpr size_t kSide = size_t{1} << 30;  // 2^60 one-byte elements: the size fits, the memory does not
    const std::string refused = " cannot allocate 1152921504606846976 bytes of host memory.";
    test::LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    const size_t before = sim::liveAllocations();
    {
        const Mat host(kSide, kSide, MAT_TYPE::U8_C1);
        EXPECT_TRUE(host.initialized && host.memoryOwner);
        EXPECT_EQ(host.cpuBuffer, nullptr);
        EXPECT_EQ(host.stepCPU, kSide) << "described as after a failed runtime allocation";

        sim::failNextCall("cudaMallocPitch", cudaErrorMemoryAllocation);
        testing::internal::CaptureStdout();
        Mat gpu(kSide, kSide, MAT_TYPE::U8_C1, MEM::GPU);
        EXPECT_EQ(gpu.updateCPUfromGPU(), ERROR_CODE::FAILURE);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), report(kAlloc, 2, "out of memory"));
        EXPECT_EQ(gpu.memType, MEM::GPU) << "no host side was added";
        EXPECT_EQ(gpu.cpuBuffer, nullptr);
    }
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"[Mat]  alloc" + refused, "[Mat]  updateCPUfromGPU" + refused}));
    EXPECT_EQ(sim::liveAllocations(), before);
}

TEST(FaultInjection, a_read_whose_allocation_fails_leaves_the_mat_as_it_was) {
    const std::string path = ::testing::TempDir() + "vela_read_allocation.png";
    Mat image(32, 32, MAT_TYPE::U8_C3);
    image.setTo(Vector3<unsigned char>(1, 2, 3));
    ASSERT_EQ(image.write(path.c_str()), ERROR_CODE::SUCCESS);
    Mat mat(4, 4, MAT_TYPE::U16_C1);
    mat.setTo<uint16_t>(4321);
    const unsigned char* buffer = mat.cpuBuffer.get();
    test::LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    largestArray = 1024;  // the decoded image fits, its host array of 3072 bytes does not
    const ERROR_CODE status = mat.read(path.c_str());
    largestArray = kLargestArray;
    EXPECT_EQ(status, ERROR_CODE::FAILURE);
    EXPECT_EQ(mat.cpuBuffer.get(), buffer);
    EXPECT_EQ(mat.width, 4u);
    EXPECT_EQ(mat.dataType, MAT_TYPE::U16_C1);
    uint16_t value = 0;
    mat.getValue(3, 3, &value);
    EXPECT_EQ(value, 4321);
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{"[Mat]  alloc cannot allocate 3072 bytes of host memory."});
    std::remove(path.c_str());
}

TEST(FaultInjection, conversion_with_a_buffer_that_could_not_be_allocated_launches_nothing) {
    const size_t before = sim::liveAllocations();
    {
        Mat source(4, 2, MAT_TYPE::U8_C4, MEM::GPU);
        Mat converted;
        sim::failNextCall("cudaMallocPitch", kInjected);
        testing::internal::CaptureStdout();
        EXPECT_EQ(convertImage(source, converted), ERROR_CODE::FAILURE);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), report(kAlloc, 719, "unspecified launch failure"))
            << "the destination's allocation is reported, and no kernel ran";
        EXPECT_TRUE(converted.memoryOwner && converted.memType == MEM::GPU && converted.gpuBuffer == nullptr);

        Mat missing;
        sim::failNextCall("cudaMallocPitch", kInjected);
        testing::internal::CaptureStdout();
        missing.alloc(4, 2, MAT_TYPE::U8_C4, MEM::GPU);
        Mat kept(4, 2, MAT_TYPE::S8_C4, MEM::GPU);
        const unsigned char* buffer = kept.gpuBuffer.get();
        EXPECT_EQ(convertImage(missing, kept), ERROR_CODE::FAILURE);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), report(kAlloc, 719, "unspecified launch failure"));
        EXPECT_EQ(kept.gpuBuffer.get(), buffer);
    }
    EXPECT_EQ(sim::liveAllocations(), before);
}

// ---- Each runtime function failing at each step of a workload ----

// Mats of every memory kind taken through allocation, element access, copies, updates, clone and
// conversion: together they reach every checked call of the Mat module but the releases.
struct Workload {
    cudaStream_t stream = nullptr;
    Mat host, gpu, mapped, managed, copy, converted;
};
using Step = void (*)(Workload&);
const Vector4<unsigned char> kPixel(1, 2, 3, 4);
const Step kSteps[] = {
    [](Workload& w) {
        w.host.alloc(5, 3, MAT_TYPE::U8_C4);
        w.host.setTo(kPixel);
    },
    [](Workload& w) {
        w.gpu.alloc(5, 3, MAT_TYPE::U8_C4, MEM::GPU);
        w.gpu.setTo(kPixel, MEM::GPU);
    },
    [](Workload& w) { w.mapped.alloc(5, 3, MAT_TYPE::U8_C4, MEM_BOTH); },
    [](Workload& w) { w.managed.alloc(5, 3, MAT_TYPE::U8_C4, MEM_MANAGED); },
    [](Workload& w) {
        Vector4<unsigned char> read;
        w.gpu.setValue(1, 1, kPixel, MEM::GPU);
        w.gpu.getValue(1, 1, &read, MEM::GPU);
    },
    [](Workload& w) {
        w.host.copyTo(w.gpu, COPY_TYPE::CPU_GPU);
        w.mapped.setFrom(w.gpu, COPY_TYPE::GPU_CPU, w.stream);
    },
    [](Workload& w) { w.gpu.copyTo(w.copy, COPY_TYPE::GPU_GPU, w.stream); },
    [](Workload& w) { w.host.updateGPUfromCPU(w.stream); },
    [](Workload& w) { w.gpu.updateCPUfromGPU(); },
    [](Workload& w) {
        w.managed.updateCPUfromGPU(w.stream);
        w.managed.updateGPUfromCPU(w.stream);
    },
    [](Workload& w) { w.mapped.updateCPUfromGPU(w.stream); },
    [](Workload& w) { w.copy.clone(w.mapped); },
    [](Workload& w) { convertImage(w.gpu, w.converted, w.stream); },
};

// Runs the workload with `function` made to fail at its first call from step `failing` on, and returns
// what was printed.
std::string runFailing(const char* function, size_t failing) {
    cudaStream_t stream = nullptr;
    EXPECT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    testing::internal::CaptureStdout();
    {
        Workload workload;
        workload.stream = stream;
        for (size_t step = 0; step < std::size(kSteps); ++step) {
            if (step == failing) sim::failNextCall(function, kInjected);
            kSteps[step](workload);
        }
    }
    sim::reset();  // an injection the workload did not reach
    const std::string printed = testing::internal::GetCapturedStdout();
    cudaStreamDestroy(stream);
    return printed;
}

TEST(FaultInjection, each_runtime_failure_in_a_workload_is_reported_and_frees_everything) {
    const char* const functions[] = {"cudaMallocPitch",
                                     "cudaMallocManaged",
                                     "cudaHostAlloc",
                                     "cudaHostGetDevicePointer",
                                     "cudaMemcpy",
                                     "cudaMemcpy2D",
                                     "cudaMemcpy2DAsync",
                                     "cudaStreamAttachMemAsync",
                                     "cudaStreamSynchronize",
                                     "cudaGetDevice",
                                     "cudaDeviceGetAttribute",
                                     "cudaLaunchKernel"};
    const size_t before = sim::liveAllocations();
    ASSERT_EQ(runFailing("none", 0), "") << "the workload alone fails nowhere";
    for (const char* function : functions) {
        bool reached = false;
        for (size_t failing = 0; failing < std::size(kSteps); ++failing) {
            std::istringstream lines(runFailing(function, failing));
            for (std::string line; std::getline(lines, line);) {
                // Later calls may refuse what the failure left missing; no kernel may run on it.
                const size_t code = line.find(" : Err [");
                ASSERT_TRUE(line.rfind("in ", 0) == 0 && code != std::string::npos && line.back() == '.')
                    << function << " at step " << failing << ": " << line;
                const int error = std::atoi(line.c_str() + code + 8);
                reached = reached || error == kInjected;
                EXPECT_NE(error, cudaErrorIllegalAddress)
                    << function << " at step " << failing << ": " << line;
            }
            EXPECT_EQ(sim::liveAllocations(), before) << function << " at step " << failing;
        }
        EXPECT_TRUE(reached) << "the workload never calls " << function;
    }
    cudaGetLastError();
}

}  // namespace
}  // namespace vela
