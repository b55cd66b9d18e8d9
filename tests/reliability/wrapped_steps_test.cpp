// A user buffer wrapped with rows closer than a packed row would make host access reach past it: refused.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <string>
#include <vector>

#include "support/log_capture.hpp"

namespace vela {
namespace {

TEST(WrappedSteps, a_step_shorter_than_a_packed_row_is_refused_and_logged) {
    std::vector<float> rows(4 * 6, 0.0f);
    auto* data = reinterpret_cast<unsigned char*>(rows.data());
    test::LogCapture log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR);
    const Mat shortRows(6, 4, MAT_TYPE::F32_C1, data, 20, MEM::CPU);
    EXPECT_FALSE(shortRows.initialized);
    EXPECT_EQ(shortRows.width, 0u);
    EXPECT_EQ(shortRows.cpuBuffer, nullptr);
    const Mat both(6, 4, MAT_TYPE::F32_C1, data, 24, data, 8);
    EXPECT_FALSE(both.initialized);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{
                  "[Mat]  Mat step 20 is smaller than a packed row of 6 x 4 bytes: the buffer is not "
                  "wrapped.",
                  "[Mat]  Mat step 8 is smaller than a packed row of 6 x 4 bytes: the buffer is not "
                  "wrapped."}));
    // A packed or longer step, or any step for a single row, is wrapped as given.
    const Mat packed(6, 4, MAT_TYPE::F32_C1, data, 24, MEM::CPU);
    EXPECT_TRUE(packed.initialized);
    const Mat longer(3, 4, MAT_TYPE::F32_C1, data, 24, MEM::CPU);
    EXPECT_EQ(longer.stepCPU, 24u);
    const Mat oneRow(6, 1, MAT_TYPE::F32_C1, data, 0, MEM::CPU);
    EXPECT_TRUE(oneRow.initialized);
    EXPECT_TRUE(log.texts().empty());
}

}  // namespace
}  // namespace vela
