#pragma once

// Rotations worked out in double precision, the references the geometry tests compare against.

#include <cmath>

namespace vela {
namespace test {

struct Matrix3d {
    double m[3][3];
};

inline Matrix3d product(const Matrix3d& a, const Matrix3d& b) {
    Matrix3d r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k)
                r.m[i][j] += a.m[i][k] * b.m[k][j];
    return r;
}

// R = I + sin θ K + (1 - cos θ) K², K the cross-product matrix of the unit axis.
inline Matrix3d axisAngle(double angle, double x, double y, double z) {
    const double n = std::sqrt(x * x + y * y + z * z);
    x /= n, y /= n, z /= n;
    const double k[3][3] = {{0, -z, y}, {z, 0, -x}, {-y, x, 0}};
    Matrix3d r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double k2 = 0;
            for (int l = 0; l < 3; ++l)
                k2 += k[i][l] * k[l][j];
            r.m[i][j] = (i == j ? 1.0 : 0.0) + std::sin(angle) * k[i][j] + (1 - std::cos(angle)) * k2;
        }
    return r;
}

}  // namespace test
}  // namespace vela
