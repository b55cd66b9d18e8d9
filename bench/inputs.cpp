#include "inputs.hpp"

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <utility>

namespace vela {
namespace bench {
namespace {

using Key = std::pair<size_t, size_t>;

Key keyOf(Size size) {
    return {size.width, size.height};
}

Mat buildCloud(Size size) {
    Mat mat(size.width, size.height, MAT_TYPE::F32_C4);
    std::mt19937 random(2024);
    std::uniform_real_distribution<float> ahead(0.3f, 10.0f);
    std::uniform_int_distribution<int> byte(0, 255);
    std::bernoulli_distribution invalid(0.05);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float cx = static_cast<float>(size.width) / 2, cy = static_cast<float>(size.height) / 2;
    auto* point = mat.getPtr<Vector4<float>>();
    for (size_t v = 0; v < size.height; ++v) {
        for (size_t u = 0; u < size.width; ++u, ++point) {
            const unsigned char rgb[4] = {static_cast<unsigned char>(byte(random)),
                                          static_cast<unsigned char>(byte(random)),
                                          static_cast<unsigned char>(byte(random)), 0};
            float colour;
            std::memcpy(&colour, rgb, sizeof colour);
            const float z = ahead(random);
            *point = invalid(random) ? Vector4<float>(nan, nan, nan, colour)
                                     : Vector4<float>((static_cast<float>(u) - cx) * z / 1000.0f,
                                                      (static_cast<float>(v) - cy) * z / 1000.0f, z, colour);
        }
    }
    return mat;
}

Mat buildCloud3(Size size) {
    const Mat& four = cloud(size);
    Mat mat(size.width, size.height, MAT_TYPE::F32_C3);
    const auto* from = four.getPtr<Vector4<float>>();
    auto* to = mat.getPtr<Vector3<float>>();
    for (size_t i = 0; i < size.width * size.height; ++i)
        to[i] = Vector3<float>(from[i].x, from[i].y, from[i].z);
    return mat;
}

Mat buildDepthMap(Size size) {
    Mat mat(size.width, size.height, MAT_TYPE::F32_C1);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> depth(300.0f, 10000.0f);
    std::bernoulli_distribution invalid(0.05);
    auto* value = mat.getPtr<float>();
    for (size_t i = 0; i < size.width * size.height; ++i)
        value[i] = invalid(random) ? std::numeric_limits<float>::quiet_NaN() : depth(random);
    return mat;
}

// One Mat per size, built on first use. A Mat copy shares its buffers, so the map's Mats own them.
template <Mat (*Build)(Size)>
const Mat& cached(Size size) {
    static std::map<Key, Mat> built;
    auto found = built.find(keyOf(size));
    if (found == built.end()) {
        Mat mat = Build(size);
        found = built.emplace(keyOf(size), Mat()).first;
        require(mat.move(found->second));
    }
    return found->second;
}

class Scratch {
  public:
    Scratch() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/vela_bench_XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) root = pattern;
    }
    ~Scratch() {
        std::error_code ignored;
        if (!root.empty()) std::filesystem::remove_all(root, ignored);
    }
    std::string path(const std::string& name) const { return root + "/" + name; }

  private:
    std::string root;
};

}  // namespace

std::string benchmarkName(const std::string& operation, Size size, const std::string& side) {
    return operation + "_" + std::to_string(size.width) + "x" + std::to_string(size.height) + "/" + side;
}

const Mat& cloud(Size size) {
    return cached<buildCloud>(size);
}

const Mat& cloud3(Size size) {
    return cached<buildCloud3>(size);
}

const Mat& depthMap(Size size) {
    return cached<buildDepthMap>(size);
}

int64_t bytesReadAndWritten(const Mat& mat) {
    return 2 * static_cast<int64_t>(mat.width * mat.height * mat.pixelBytes);
}

std::string scratchPath(const std::string& name) {
    static const Scratch scratch;
    return scratch.path(name);
}

std::string contentOf(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error) return std::string();
    std::string content(size, '\0');
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return std::string();
    content.resize(std::fread(content.data(), 1, content.size(), file));
    std::fclose(file);
    return content;
}

}  // namespace bench
}  // namespace vela
