// Peak memory of readPointCloud: `vela_read_peak write PATH MILLIONS` writes a cloud of that many million
// points (colour, no invalid points) as the extension and `ascii` in the name say; `vela_read_peak read PATH`
// reads it in a fresh process and prints the growth of the peak resident set (getrusage) over the cloud's
// own bytes.

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include <vela/vela.hpp>

namespace {

long peakKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const std::string mode = argv[1];
    const std::string path = argv[2];
    if (mode == "write" && argc == 4) {
        const size_t points = static_cast<size_t>(std::atof(argv[3]) * 1e6);
        vela::Mat cloud(points, 1, vela::MAT_TYPE::F32_C4);
        auto* p = cloud.getPtr<float>();
        std::mt19937 random(7);
        std::uniform_real_distribution<float> coordinate(-5.0f, 5.0f);
        for (size_t i = 0; i < points; ++i) {
            p[4 * i] = coordinate(random);
            p[4 * i + 1] = coordinate(random);
            p[4 * i + 2] = coordinate(random);
            const uint32_t rgb = static_cast<uint32_t>(random()) & 0xFFFFFF;
            std::memcpy(&p[4 * i + 3], &rgb, sizeof rgb);
        }
        const bool ply = path.size() > 4 && path.substr(path.size() - 4) == ".ply";
        const bool ascii = path.find("ascii") != std::string::npos;
        const bool compressed = path.find("compressed") != std::string::npos;
        const vela::PointCloudWriteOptions options{ascii        ? vela::FILE_ENCODING::ASCII
                                                   : compressed ? vela::FILE_ENCODING::BINARY_COMPRESSED
                                                                : vela::FILE_ENCODING::BINARY,
                                                   true, false};
        return vela::writePointCloud(cloud, path,
                                     ply ? vela::POINT_CLOUD_FORMAT::PLY : vela::POINT_CLOUD_FORMAT::PCD,
                                     options) == vela::ERROR_CODE::SUCCESS
                   ? 0
                   : 1;
    }
    if (mode != "read") return 2;
    const long before = peakKiB();
    vela::Mat cloud;
    if (vela::readPointCloud(path, cloud) != vela::ERROR_CODE::SUCCESS) return 1;
    const long after = peakKiB();
    const double cloudMiB = static_cast<double>(cloud.width * cloud.height * 16) / (1 << 20);
    std::printf("%s: %zu points, peak grew %.1f MiB, cloud %.1f MiB, beyond the cloud %.1f MiB\n",
                path.c_str(), cloud.width * cloud.height, static_cast<double>(after - before) / 1024,
                cloudMiB, static_cast<double>(after - before) / 1024 - cloudMiB);
    return 0;
}
