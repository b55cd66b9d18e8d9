// Unit scaling and change of axes of a 1920 x 1080 F32_C4 point cloud on the host, each against a memcpy of
// the same bytes in the same run: the ratio printed at the end is the conversion's time over the copy's, so
// its inverse is the fraction of memcpy bandwidth reached (bytes read plus written, the same for both).
// Clouds carry packed colours whose unused byte is 0 (the fourth floats are then mostly subnormal, which
// slows plain float multiplication twenty-fold) or 255 (about half of them are then NaN).

#include <benchmark/benchmark.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr size_t kWidth = 1920;
constexpr size_t kHeight = 1080;
constexpr size_t kBytes = kWidth * kHeight * sizeof(vela::Vector4<float>);

// Points as a depth camera with a 1000-pixel focal length sees a scene 0.5 to 5 m away, in millimetres,
// each with a random colour (r, g, b, then `unused`) packed into the fourth float.
void fillCloud(vela::Mat& cloud, uint8_t unused) {
    cloud.alloc(kWidth, kHeight, vela::MAT_TYPE::F32_C4, vela::MEM::CPU);
    std::mt19937 random(7);
    auto* points = cloud.getPtr<vela::Vector4<float>>();
    for (size_t v = 0; v < kHeight; ++v) {
        for (size_t u = 0; u < kWidth; ++u) {
            const float z = 500.0f + static_cast<float>(random() % 4500);
            const uint32_t colour =
                (static_cast<uint32_t>(random()) & 0x00FFFFFF) | static_cast<uint32_t>(unused) << 24;
            vela::Vector4<float>& p = points[v * kWidth + u];
            p.x = (static_cast<float>(u) - 960.0f) * z / 1000.0f;
            p.y = (static_cast<float>(v) - 540.0f) * z / 1000.0f;
            p.z = z;
            std::memcpy(&p.w, &colour, sizeof(colour));
        }
    }
}

void countBytes(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 2 * static_cast<int64_t>(kBytes));
}

// Times convert(cloud, forth) on a cloud whose colours have the unused byte `Unused`, `forth` alternating
// so that the data, subnormal colours included, keeps its magnitude however long the run.
template <uint8_t Unused, typename Convert>
void timeAlternating(benchmark::State& state, Convert convert) {
    vela::Mat cloud;
    fillCloud(cloud, Unused);
    bool forth = true;
    for (auto _ : state) {
        benchmark::DoNotOptimize(convert(cloud, forth));
        benchmark::ClobberMemory();
        forth = !forth;
    }
    countBytes(state);
}

// Metres to millimetres and back.
template <uint8_t Unused>
void unitScale_vela(benchmark::State& state) {
    timeAlternating<Unused>(state, [](vela::Mat& cloud, bool forth) {
        const vela::UNIT m = vela::UNIT::METER, mm = vela::UNIT::MILLIMETER;
        return vela::convertUnit(cloud, forth ? m : mm, forth ? mm : m, vela::MEM::CPU);
    });
}

// Z up to IMAGE and back.
template <uint8_t Unused>
void axes_vela(benchmark::State& state) {
    timeAlternating<Unused>(state, [](vela::Mat& cloud, bool forth) {
        const vela::COORDINATE_SYSTEM zUp = vela::COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP;
        const vela::COORDINATE_SYSTEM image = vela::COORDINATE_SYSTEM::IMAGE;
        return vela::convertCoordinateSystem(cloud, forth ? zUp : image, forth ? image : zUp, vela::MEM::CPU);
    });
}

// The same bytes copied to a second buffer, both touched beforehand.
template <uint8_t Unused>
void copy_memcpy(benchmark::State& state) {
    vela::Mat cloud;
    fillCloud(cloud, Unused);
    std::vector<unsigned char> copy(kBytes, 0);
    for (auto _ : state) {
        std::memcpy(copy.data(), cloud.getPtr<unsigned char>(), kBytes);
        benchmark::ClobberMemory();
    }
    countBytes(state);
}

}  // namespace

BENCHMARK(unitScale_vela<0>)->Name("coordinates/unit_scale_unused0/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(copy_memcpy<0>)->Name("coordinates/unit_scale_unused0/memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(unitScale_vela<255>)->Name("coordinates/unit_scale_unused255/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(copy_memcpy<255>)->Name("coordinates/unit_scale_unused255/memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(axes_vela<0>)->Name("coordinates/axes_unused0/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(copy_memcpy<0>)->Name("coordinates/axes_unused0/memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(axes_vela<255>)->Name("coordinates/axes_unused255/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(copy_memcpy<255>)->Name("coordinates/axes_unused255/memcpy")->Unit(benchmark::kMillisecond);
