#include "synthetic_scene.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace demo {
namespace {

// The scene in the IMAGE system (x right, y down, z forward) of a level camera at the origin, in
// millimetres: the camera stands 1.3 m above the floor, looks 15 degrees down, and sees a sphere and a box
// resting on the floor in front of a 6 m wide wall.
constexpr float kPitchDown = 15.0f * 3.14159265f / 180.0f;
constexpr float kFloorY = 1300.0f;
constexpr float kFloorFar = 8000.0f;
constexpr float kWallZ = 5000.0f;
constexpr float kWallHalfWidth = 3000.0f;
constexpr float kSphereCentre[3] = {-900.0f, 800.0f, 3000.0f};
constexpr float kSphereRadius = 500.0f;
constexpr float kBoxMin[3] = {400.0f, 600.0f, 2200.0f};
constexpr float kBoxMax[3] = {1300.0f, 1300.0f, 3000.0f};

using Rgb = std::array<float, 3>;

// The nearest surface along a ray: its distance parameter, normal (facing the camera) and base colour.
struct Hit {
    float t = std::numeric_limits<float>::infinity();
    float normal[3] = {0, 0, 0};
    Rgb colour{0, 0, 0};

    void offer(float candidate, const float (&n)[3], const Rgb& c) {
        if (candidate <= 0.0f || candidate >= t) return;
        t = candidate;
        std::copy(n, n + 3, normal);
        colour = c;
    }
};

void hitFloor(const float (&ray)[3], Hit& hit) {
    if (ray[1] <= 0.0f) return;
    const float t = kFloorY / ray[1];
    const float x = ray[0] * t, z = ray[2] * t;
    if (z > kFloorFar || (z > kWallZ && std::fabs(x) <= kWallHalfWidth)) return;
    // 600 mm tiles.
    const bool light =
        (static_cast<int>(std::floor(x / 600.0f)) + static_cast<int>(std::floor(z / 600.0f))) % 2;
    hit.offer(t, {0.0f, -1.0f, 0.0f}, light ? Rgb{200, 200, 190} : Rgb{120, 120, 115});
}

void hitWall(const float (&ray)[3], Hit& hit) {
    const float t = kWallZ / ray[2];
    const float x = ray[0] * t, y = ray[1] * t;
    if (std::fabs(x) > kWallHalfWidth || y > kFloorY) return;
    hit.offer(t, {0.0f, 0.0f, -1.0f}, {170, 190, 220});
}

void hitSphere(const float (&ray)[3], Hit& hit) {
    // |t ray - c|^2 = r^2, the nearer root.
    const float a = ray[0] * ray[0] + ray[1] * ray[1] + ray[2] * ray[2];
    const float b = ray[0] * kSphereCentre[0] + ray[1] * kSphereCentre[1] + ray[2] * kSphereCentre[2];
    const float c = kSphereCentre[0] * kSphereCentre[0] + kSphereCentre[1] * kSphereCentre[1] +
                    kSphereCentre[2] * kSphereCentre[2] - kSphereRadius * kSphereRadius;
    const float discriminant = b * b - a * c;
    if (discriminant < 0.0f) return;
    const float t = (b - std::sqrt(discriminant)) / a;
    float normal[3];
    for (int i = 0; i < 3; ++i)
        normal[i] = (ray[i] * t - kSphereCentre[i]) / kSphereRadius;
    hit.offer(t, normal, {220, 60, 50});
}

void hitBox(const float (&ray)[3], Hit& hit) {
    // Slabs: the ray is inside the box between the largest entry and the smallest exit.
    float entry = 0.0f, exit = std::numeric_limits<float>::infinity();
    int entryAxis = -1;
    for (int axis = 0; axis < 3; ++axis) {
        if (ray[axis] == 0.0f) {
            if (0.0f < kBoxMin[axis] || 0.0f > kBoxMax[axis]) return;
            continue;
        }
        float near = kBoxMin[axis] / ray[axis], far = kBoxMax[axis] / ray[axis];
        if (near > far) std::swap(near, far);
        if (near > entry) {
            entry = near;
            entryAxis = axis;
        }
        exit = std::min(exit, far);
    }
    if (entryAxis < 0 || entry > exit) return;
    float normal[3] = {0, 0, 0};
    normal[entryAxis] = ray[entryAxis] > 0.0f ? -1.0f : 1.0f;
    hit.offer(entry, normal, {60, 170, 80});
}

// Lambertian shading under a light above, to the left of and behind the camera.
Rgb shade(const Hit& hit) {
    constexpr float kToLight[3] = {-0.36f, -0.80f, -0.48f};  // unit length
    float lambert = 0.0f;
    for (int i = 0; i < 3; ++i)
        lambert += hit.normal[i] * kToLight[i];
    const float intensity = 0.35f + 0.65f * std::max(lambert, 0.0f);
    return {hit.colour[0] * intensity, hit.colour[1] * intensity, hit.colour[2] * intensity};
}

unsigned char toByte(float value) {
    return static_cast<unsigned char>(std::clamp(std::lround(value), 0L, 255L));
}

template <typename T>
T* row(const vela::Mat& mat, size_t y) {
    return reinterpret_cast<T*>(mat.getPtr<unsigned char>(vela::MEM::CPU) +
                                y * mat.getStepBytes(vela::MEM::CPU));
}

}  // namespace

Camera Camera::forResolution(size_t width, size_t height) {
    const float focal = 0.5f * static_cast<float>(width) / std::tan(35.0f * 3.14159265f / 180.0f);
    return {focal, focal, 0.5f * static_cast<float>(width), 0.5f * static_cast<float>(height)};
}

void renderScene(const Camera& camera, size_t width, size_t height, vela::Mat& depth, vela::Mat& colour) {
    depth.alloc(width, height, vela::MAT_TYPE::F32_C1, vela::MEM::CPU);
    colour.alloc(width, height, vela::MAT_TYPE::U8_C4, vela::MEM::CPU);
    for (size_t v = 0; v < height; ++v) {
        float* depthRow = row<float>(depth, v);
        unsigned char* colourRow = row<unsigned char>(colour, v);
        for (size_t u = 0; u < width; ++u) {
            // The ray through the pixel, turned by the camera's tilt; its parameter stays the depth
            // along the optical axis.
            const float x = (static_cast<float>(u) - camera.cx) / camera.fx;
            const float y = (static_cast<float>(v) - camera.cy) / camera.fy;
            const float ray[3] = {x, y * std::cos(kPitchDown) + std::sin(kPitchDown),
                                  std::cos(kPitchDown) - y * std::sin(kPitchDown)};
            Hit hit;
            hitFloor(ray, hit);
            hitWall(ray, hit);
            hitSphere(ray, hit);
            hitBox(ray, hit);
            const bool found = std::isfinite(hit.t);
            depthRow[u] = found ? hit.t : std::numeric_limits<float>::quiet_NaN();
            const Rgb rgb = found ? shade(hit) : Rgb{0, 0, 0};
            unsigned char* bgra = colourRow + 4 * u;
            bgra[0] = toByte(rgb[2]);
            bgra[1] = toByte(rgb[1]);
            bgra[2] = toByte(rgb[0]);
            bgra[3] = 255;
        }
    }
}

void colouriseDepth(const vela::Mat& depth, vela::Mat& preview) {
    // Red, yellow, green, cyan, blue from 1 m to 7 m.
    constexpr float kNear = 1000.0f, kFar = 7000.0f;
    constexpr Rgb kRamp[] = {{230, 40, 30}, {240, 220, 40}, {60, 200, 70}, {40, 200, 220}, {40, 60, 200}};
    constexpr int kSteps = sizeof kRamp / sizeof kRamp[0] - 1;
    preview.alloc(depth.getWidth(), depth.getHeight(), vela::MAT_TYPE::U8_C4, vela::MEM::CPU);
    for (size_t v = 0; v < depth.getHeight(); ++v) {
        const float* z = row<float>(depth, v);
        unsigned char* bgra = row<unsigned char>(preview, v);
        for (size_t u = 0; u < depth.getWidth(); ++u, bgra += 4) {
            Rgb rgb{0, 0, 0};
            if (std::isfinite(z[u])) {
                const float position = std::clamp((z[u] - kNear) / (kFar - kNear), 0.0f, 1.0f) * kSteps;
                const int step = std::min(static_cast<int>(position), kSteps - 1);
                const float blend = position - static_cast<float>(step);
                for (int i = 0; i < 3; ++i)
                    rgb[i] = kRamp[step][i] + blend * (kRamp[step + 1][i] - kRamp[step][i]);
            }
            bgra[0] = toByte(rgb[2]);
            bgra[1] = toByte(rgb[1]);
            bgra[2] = toByte(rgb[0]);
            bgra[3] = 255;
        }
    }
}

}  // namespace demo
