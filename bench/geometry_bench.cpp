// The 4x4 product and inverse and the quaternion <-> matrix conversions, against Eigen's fixed-size types
// built with the same compiler flags. Inputs pass through DoNotOptimize on every iteration so that neither
// side can hoist work out of the loop.

#include <benchmark/benchmark.h>

#include <Eigen/Dense>
#include <Eigen/Geometry>

#include <vela/vela.hpp>

#include <vector>

namespace {

// A rigid transform with a scaled rotation: invertible, no zero elements, nothing special.
const float kMatrixA[16] = {0.8f,  -0.3f, 0.5f, 1.5f,  0.4f, 0.9f, -0.2f, -2.0f,
                            -0.6f, 0.3f,  0.7f, 0.25f, 0.1f, 0.2f, 0.3f,  1.0f};
const float kMatrixB[16] = {1.1f, 0.2f,  -0.4f, 3.0f,  -0.5f, 0.7f,  0.6f, 0.5f,
                            0.3f, -0.8f, 0.9f,  -1.0f, 0.0f,  0.05f, 0.1f, 1.2f};

// A rotation about a skew axis: chained products neither grow nor shrink.
const float kRotation[16] = {0.36f, 0.48f, -0.8f, 0.0f, -0.8f, 0.6f, 0.0f, 0.0f,
                             0.48f, 0.64f, 0.6f,  0.0f, 0.0f,  0.0f, 0.0f, 1.0f};

Eigen::Matrix4f eigenOf(const float* values) {
    return Eigen::Map<const Eigen::Matrix<float, 4, 4, Eigen::RowMajor>>(values);
}

void product_vela(benchmark::State& state) {
    vela::Matrix4f a(kMatrixA), b(kMatrixB);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        vela::Matrix4f c = a * b;
        benchmark::DoNotOptimize(c);
    }
}

void product_eigen(benchmark::State& state) {
    Eigen::Matrix4f a = eigenOf(kMatrixA), b = eigenOf(kMatrixB);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        Eigen::Matrix4f c = a * b;
        benchmark::DoNotOptimize(c);
    }
}

// Composition, as when poses are chained: each product waits for the one before.
void chainedProduct_vela(benchmark::State& state) {
    vela::Matrix4f c(kMatrixA), step(kRotation);
    for (auto _ : state) {
        benchmark::DoNotOptimize(step);
        c = c * step;
    }
    benchmark::DoNotOptimize(c);
}

void chainedProduct_eigen(benchmark::State& state) {
    Eigen::Matrix4f c = eigenOf(kMatrixA), step = eigenOf(kRotation);
    for (auto _ : state) {
        benchmark::DoNotOptimize(step);
        c = c * step;
    }
    benchmark::DoNotOptimize(c);
}

// A batch of independent products from arrays to an array, as when every pose of a trajectory is moved
// into another frame.
constexpr int kBatch = 256;

void batchProduct_vela(benchmark::State& state) {
    std::vector<vela::Matrix4f> a(kBatch, vela::Matrix4f(kMatrixA)), b(kBatch, vela::Matrix4f(kMatrixB));
    std::vector<vela::Matrix4f> c(kBatch);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a.data());
        benchmark::DoNotOptimize(b.data());
        for (int i = 0; i < kBatch; ++i)
            c[i] = a[i] * b[i];
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void batchProduct_eigen(benchmark::State& state) {
    std::vector<Eigen::Matrix4f> a(kBatch, eigenOf(kMatrixA)), b(kBatch, eigenOf(kMatrixB));
    std::vector<Eigen::Matrix4f> c(kBatch);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a.data());
        benchmark::DoNotOptimize(b.data());
        for (int i = 0; i < kBatch; ++i)
            c[i].noalias() = a[i] * b[i];
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void inverse_vela(benchmark::State& state) {
    vela::Matrix4f a(kMatrixA);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        vela::Matrix4f inverse = vela::Matrix4f::inverse(a);
        benchmark::DoNotOptimize(inverse);
    }
}

void inverse_eigen(benchmark::State& state) {
    Eigen::Matrix4f a = eigenOf(kMatrixA);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        Eigen::Matrix4f inverse = a.inverse();
        benchmark::DoNotOptimize(inverse);
    }
}

// A unit quaternion of about 0.9 rad about a skew axis.
const float kQuaternion[4] = {0.2f, -0.3f, 0.35f, 0.8631338f};

void quaternionToMatrix_vela(benchmark::State& state) {
    vela::Orientation q{vela::Vector4<float>(kQuaternion)};
    for (auto _ : state) {
        benchmark::DoNotOptimize(q);
        vela::Rotation r = q.getRotationMatrix();
        benchmark::DoNotOptimize(r);
    }
}

void quaternionToMatrix_eigen(benchmark::State& state) {
    Eigen::Quaternionf q(kQuaternion[3], kQuaternion[0], kQuaternion[1], kQuaternion[2]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(q);
        Eigen::Matrix3f r = q.toRotationMatrix();
        benchmark::DoNotOptimize(r);
    }
}

void matrixToQuaternion_vela(benchmark::State& state) {
    const vela::Rotation r = vela::Orientation(vela::Vector4<float>(kQuaternion)).getRotationMatrix();
    for (auto _ : state) {
        benchmark::DoNotOptimize(r);
        vela::Orientation q(r);
        benchmark::DoNotOptimize(q);
    }
}

void matrixToQuaternion_eigen(benchmark::State& state) {
    const Eigen::Matrix3f r =
        Eigen::Quaternionf(kQuaternion[3], kQuaternion[0], kQuaternion[1], kQuaternion[2]).toRotationMatrix();
    for (auto _ : state) {
        benchmark::DoNotOptimize(r);
        Eigen::Quaternionf q(r);
        benchmark::DoNotOptimize(q);
    }
}

// Euler angles (radians) of R = Ry(a1) Rz(a2) Rx(a0), away from the guard band of the middle angle.
const vela::Vector3<float> kEuler(0.3f, -0.7f, 0.4f);

Eigen::Matrix3f eigenEuler(const vela::Vector3<float>& a) {
    return (Eigen::AngleAxisf(a.y, Eigen::Vector3f::UnitY()) *
            Eigen::AngleAxisf(a.z, Eigen::Vector3f::UnitZ()) *
            Eigen::AngleAxisf(a.x, Eigen::Vector3f::UnitX()))
        .toRotationMatrix();
}

void eulerToMatrix_vela(benchmark::State& state) {
    vela::Vector3<float> angles = kEuler;
    for (auto _ : state) {
        benchmark::DoNotOptimize(angles);
        vela::Rotation r;
        r.setEulerAngles(angles);
        benchmark::DoNotOptimize(r);
    }
}

void eulerToMatrix_eigen(benchmark::State& state) {
    vela::Vector3<float> angles = kEuler;
    for (auto _ : state) {
        benchmark::DoNotOptimize(angles);
        Eigen::Matrix3f r = eigenEuler(angles);
        benchmark::DoNotOptimize(r);
    }
}

void matrixToEuler_vela(benchmark::State& state) {
    vela::Rotation r;
    r.setEulerAngles(kEuler);
    for (auto _ : state) {
        benchmark::DoNotOptimize(r);
        vela::Vector3<float> angles = r.getEulerAngles();
        benchmark::DoNotOptimize(angles);
    }
}

void matrixToEuler_eigen(benchmark::State& state) {
    const Eigen::Matrix3f r = eigenEuler(kEuler);
    for (auto _ : state) {
        benchmark::DoNotOptimize(r);
        Eigen::Vector3f angles = r.eulerAngles(1, 2, 0);
        benchmark::DoNotOptimize(angles);
    }
}

BENCHMARK(product_vela)->Name("geometry/product4x4/vela");
BENCHMARK(product_eigen)->Name("geometry/product4x4/eigen");
BENCHMARK(chainedProduct_vela)->Name("geometry/product4x4_chained/vela");
BENCHMARK(chainedProduct_eigen)->Name("geometry/product4x4_chained/eigen");
BENCHMARK(batchProduct_vela)->Name("geometry/product4x4_batch256/vela");
BENCHMARK(batchProduct_eigen)->Name("geometry/product4x4_batch256/eigen");
BENCHMARK(inverse_vela)->Name("geometry/inverse4x4/vela");
BENCHMARK(inverse_eigen)->Name("geometry/inverse4x4/eigen");
BENCHMARK(quaternionToMatrix_vela)->Name("geometry/quaternion_to_matrix/vela");
BENCHMARK(quaternionToMatrix_eigen)->Name("geometry/quaternion_to_matrix/eigen");
BENCHMARK(matrixToQuaternion_vela)->Name("geometry/matrix_to_quaternion/vela");
BENCHMARK(matrixToQuaternion_eigen)->Name("geometry/matrix_to_quaternion/eigen");
BENCHMARK(eulerToMatrix_vela)->Name("geometry/euler_to_matrix/vela");
BENCHMARK(eulerToMatrix_eigen)->Name("geometry/euler_to_matrix/eigen");
BENCHMARK(matrixToEuler_vela)->Name("geometry/matrix_to_euler/vela");
BENCHMARK(matrixToEuler_eigen)->Name("geometry/matrix_to_euler/eigen");

}  // namespace
