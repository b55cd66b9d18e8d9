// The lossless writers take a GPU-only Mat as it is: a host copy is made for the file, the Mat is unchanged.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <string>

#include "support/device.hpp"
#include "support/temp_dir.hpp"

namespace vela {
namespace test {
namespace {

using LosslessFilesFromGpu = GpuTest;

TEST_F(LosslessFilesFromGpu, a_gpu_only_cloud_and_depth_map_are_written_from_a_host_copy) {
    const TempDir dir;
    Mat cloud(2, 1, MAT_TYPE::F32_C3, MEM::GPU);
    ASSERT_EQ(cloud.setTo(Vector3<float>(0.5f, -1.0f, 2.25f), MEM::GPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(writePointCloud(cloud, dir.path("c.xyz"), POINT_CLOUD_FORMAT::XYZ), ERROR_CODE::SUCCESS);
    EXPECT_EQ(readFile(dir.path("c.xyz")), "0.5 -1 2.25\n0.5 -1 2.25\n");
    EXPECT_EQ(cloud.getMemoryType(), MEM::GPU);

    Mat depth(1, 2, MAT_TYPE::F32_C1, MEM::GPU);
    ASSERT_EQ(depth.setTo(1.5f, MEM::GPU), ERROR_CODE::SUCCESS);
    ASSERT_EQ(writeDepth(depth, dir.path("d.pfm"), DEPTH_FORMAT::PFM), ERROR_CODE::SUCCESS);
    EXPECT_EQ(readFile(dir.path("d.pfm")),
              std::string("Pf\n1 2\n-1\n") + std::string("\0\0\xc0\x3f\0\0\xc0\x3f", 8));
}

}  // namespace
}  // namespace test
}  // namespace vela
