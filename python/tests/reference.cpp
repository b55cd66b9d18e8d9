// Writes what the Python tests compare against, made through the C++ interface: a point cloud in every
// format and its change of coordinate system, and a converted camera pose.
//
//     vela_python_reference <output folder>

#include <vela/vela.hpp>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// The cloud the tests build too: exactly representable coordinates, an invalid point, and colours.
vela::Mat referenceCloud() {
    vela::Mat cloud(4, 3, vela::MAT_TYPE::F32_C4, vela::MEM::CPU);
    for (size_t y = 0; y < 3; ++y) {
        for (size_t x = 0; x < 4; ++x) {
            const uint32_t rgba = 0xFF000000u | (static_cast<uint32_t>(40 * y) << 16) |
                                  (static_cast<uint32_t>(60 * x) << 8) | static_cast<uint32_t>(10 + x + y);
            float colour = 0;
            std::memcpy(&colour, &rgba, sizeof(colour));
            const float px = (x == 1 && y == 1) ? std::nanf("") : 0.25f * static_cast<float>(x) - 0.5f;
            const vela::Vector4<float> point(px, 1.5f - 0.75f * static_cast<float>(y), 2.0f + x * y, colour);
            if (cloud.setValue(x, y, point) != vela::ERROR_CODE::SUCCESS) std::abort();
        }
    }
    return cloud;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    vela::Mat cloud = referenceCloud();
    bool written =
        vela::savePointCloudAs(cloud, vela::POINT_CLOUD_FORMAT::PLY, (dir + "/cloud").c_str(), true) &&
        vela::savePointCloudAs(cloud, vela::POINT_CLOUD_FORMAT::PCD, (dir + "/cloud").c_str(), true) &&
        vela::savePointCloudAs(cloud, vela::POINT_CLOUD_FORMAT::XYZ, (dir + "/cloud").c_str()) &&
        vela::savePointCloudAs(cloud, vela::POINT_CLOUD_FORMAT::VTK, (dir + "/cloud").c_str());

    // The cloud in metres and Z-up, as raw bytes.
    written = vela::convertUnit(cloud, vela::UNIT::MILLIMETER, vela::UNIT::METER, vela::MEM::CPU) ==
                  vela::ERROR_CODE::SUCCESS &&
              vela::convertCoordinateSystem(cloud, vela::COORDINATE_SYSTEM::IMAGE,
                                            vela::COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP,
                                            vela::MEM::CPU) == vela::ERROR_CODE::SUCCESS &&
              written;
    if (FILE* out = std::fopen((dir + "/converted_cloud.bin").c_str(), "wb")) {
        written = std::fwrite(cloud.getPtr<unsigned char>(), 1, cloud.stepCPU * cloud.height, out) ==
                      cloud.stepCPU * cloud.height &&
                  written;
        written = std::fclose(out) == 0 && written;
    } else {
        written = false;
    }

    // A pose turned 0.3 rad about (1, 2, 3), moved by (10, -20, 30) mm, in each system, as exact hex floats.
    for (int system = 0; system <= 5; ++system) {
        vela::Transform pose(vela::Rotation(0.3f, vela::Translation(1, 2, 3)),
                             vela::Translation(10, -20, 30));
        written =
            vela::convertCoordinateSystem(pose, vela::COORDINATE_SYSTEM::IMAGE,
                                          static_cast<vela::COORDINATE_SYSTEM>(system)) ==
                vela::ERROR_CODE::SUCCESS &&
            vela::convertUnit(pose, vela::UNIT::MILLIMETER, vela::UNIT::METER) == vela::ERROR_CODE::SUCCESS &&
            written;
        for (float element : pose.elements)
            std::printf("%a ", static_cast<double>(element));
        std::printf("\n");
    }
    return written ? 0 : 1;
}
