// Walks one depth frame through vela the way a capture module and an application would: a synthetic scene
// is back-projected to a coloured point cloud by depthToPointCloud, rendered from a second viewpoint,
// converted to metres and to a z-up system, written in every
// point-cloud and depth format (the ASCII ones and the lossless ones) and read back, and a camera pose and
// a link configuration go through their conversions and files. Prints what each step returned and exits
// non-zero with one line of reason on any failure.

#include <cuda_runtime_api.h>
#include <vela/vela.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <system_error>
#include <vector>

#include "synthetic_scene.hpp"

namespace {

namespace fs = std::filesystem;

struct Options {
    fs::path outDir = "vela-demo-out";
    size_t width = 1280;
    size_t height = 720;
};

[[noreturn]] void fail(const std::string& reason) {
    std::fprintf(stderr, "vela_demo: %s\n", reason.c_str());
    std::exit(1);
}

void printUsage() {
    std::printf(
        "usage: vela_demo [--out DIR] [--resolution WIDTHxHEIGHT] [--help]\n"
        "  --out DIR             folder for the files written (default ./vela-demo-out)\n"
        "  --resolution WxH      size of the synthetic frame, 16x16 to 7680x4320 (default 1280x720)\n");
}

Options parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            printUsage();
            std::exit(0);
        } else if (arg == "--out" && hasValue) {
            options.outDir = argv[++i];
        } else if (arg == "--resolution" && hasValue) {
            const std::string value = argv[++i];
            unsigned long width = 0, height = 0;
            char tail = 0;
            if (std::sscanf(value.c_str(), "%lux%lu%c", &width, &height, &tail) != 2 || width < 16 ||
                height < 16 || width > 7680 || height > 4320)
                fail("--resolution wants WIDTHxHEIGHT between 16x16 and 7680x4320, not \"" + value + "\"");
            options.width = width;
            options.height = height;
        } else {
            fail("unknown option or missing value: \"" + arg + "\" (try --help)");
        }
    }
    return options;
}

// What went wrong with a step, or an empty text when it went well.
std::string problem(bool written) {
    return written ? "" : "returned false";
}
std::string problem(vela::ERROR_CODE status) {
    if (status <= vela::ERROR_CODE::SUCCESS) return "";
    return std::string("returned ") + vela::toString(status).c_str() + " (" +
           vela::toVerbose(status).c_str() + ")";
}

// Runs `action` and returns how long it took, in milliseconds; its result goes to `result`.
template <typename Action, typename Result>
double timed(Action&& action, Result& result) {
    const auto start = std::chrono::steady_clock::now();
    result = action();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// Runs a step that cannot fail and prints its time.
template <typename Action>
void run(const std::string& label, Action&& action) {
    int done = 0;
    const double ms = timed(
        [&] {
            action();
            return 1;
        },
        done);
    std::printf("  %-58s %9.1f ms\n", label.c_str(), ms);
}

// Runs a step that returns a status and prints its time and status, with the verbose text unless it is
// SUCCESS; a failure ends the demo.
template <typename Action>
void step(const std::string& label, Action&& action) {
    vela::ERROR_CODE status{};
    const double ms = timed(action, status);
    std::printf("  %-58s %9.1f ms  %s", label.c_str(), ms, vela::toString(status).c_str());
    if (status != vela::ERROR_CODE::SUCCESS) std::printf(" (%s)", vela::toVerbose(status).c_str());
    std::printf("\n");
    if (!problem(status).empty()) fail(label + " " + problem(status));
}

// Runs a writer of `path` (returning a bool or a status) and prints the file's size and the time taken; a
// failure ends the demo.
template <typename Writer>
void writeFile(const fs::path& path, Writer&& writer) {
    decltype(writer()) result{};
    const double ms = timed(writer, result);
    std::error_code error;
    const auto bytes = fs::file_size(path, error);
    if (!problem(result).empty() || error) fail("writing " + path.string() + " " + problem(result));
    std::printf("  %-34s %12ju bytes %9.1f ms\n", path.filename().c_str(), static_cast<uintmax_t>(bytes), ms);
}

// Where the cloud lives: GPU memory when the runtime sees a device, host memory otherwise, with the reason.
vela::MEM chooseCloudMemory(std::string& why) {
    int devices = 0;
    const cudaError_t status = cudaGetDeviceCount(&devices);
    if (status != cudaSuccess || devices == 0) {
        why = status != cudaSuccess ? std::string("no CUDA device (") + cudaGetErrorString(status) + ")"
                                    : "the CUDA runtime sees no device";
        cudaGetLastError();  // the probe's error is not the library's
        return vela::MEM::CPU;
    }
    cudaDeviceProp properties{};
    why = cudaGetDeviceProperties(&properties, 0) == cudaSuccess ? properties.name : "device 0";
    return vela::MEM::GPU;
}

// Prints the pose's angles and position; in a z-up system also its heading, the angle about z of the camera's
// forward axis (y of the system) seen from above.
void printPose(const char* label, const vela::Transform& pose, bool zUp) {
    const vela::Vector3<float> degrees = pose.getEulerAngles(false);
    const vela::Translation position = pose.getTranslation();
    std::printf("  %-26s angles about x, y, z %7.2f %7.2f %7.2f deg, position %9.3f %9.3f %9.3f", label,
                degrees.x, degrees.y, degrees.z, position.x, position.y, position.z);
    if (zUp) {
        const vela::Rotation rotation = pose.getRotationMatrix();
        std::printf(", heading %6.2f deg", std::atan2(-rotation(0, 1), rotation(1, 1)) * 180.0 / M_PI);
    }
    std::printf("\n");
}

// Renders the coloured IMAGE-system cloud (millimetres) as the same camera would see it from 1.2 m to the
// right, turned 20 degrees back towards the scene: each point goes through transformPointCloud into that
// camera's frame, then through the pinhole onto a 2x2 splat, the nearest point winning each pixel.
void renderSecondView(const vela::Mat& cloud, vela::MEM side, const vela::CameraParameters& camera,
                      vela::Mat& view) {
    vela::Mat points;
    if (points.setFrom(cloud, side == vela::MEM::GPU ? vela::COPY_TYPE::GPU_CPU : vela::COPY_TYPE::CPU_CPU) !=
        vela::ERROR_CODE::SUCCESS)
        fail("could not copy the cloud for the second view");
    // The second camera's pose in the first one's frame, inverted: world to camera.
    vela::Transform pose;
    pose.setEulerAngles(vela::Vector3<float>(0.0f, -20.0f, 0.0f), false);
    pose.setTranslation(vela::Translation(1200.0f, 0.0f, 300.0f));
    vela::Transform toCamera = pose;
    if (toCamera.inverse() != vela::ERROR_CODE::SUCCESS) fail("the second viewpoint has no inverse");
    if (vela::transformPointCloud(points, toCamera) != vela::ERROR_CODE::SUCCESS)
        fail("transformPointCloud refused the cloud");

    const size_t width = camera.image_size.width, height = camera.image_size.height;
    view.alloc(width, height, vela::MAT_TYPE::U8_C4, vela::MEM::CPU);
    if (view.setTo(vela::Vector4<unsigned char>(40, 30, 30, 255)) != vela::ERROR_CODE::SUCCESS)
        fail("the view could not be cleared");
    std::vector<float> nearest(width * height, std::numeric_limits<float>::infinity());
    unsigned char* pixels = view.getPtr<unsigned char>();
    const float* point = points.getPtr<float>();
    for (size_t i = 0; i < width * height; ++i, point += 4) {
        const float z = point[2];
        if (!(z > 1.0f)) continue;  // no depth, or behind the camera
        const long u = std::lround(camera.fx * point[0] / z + camera.cx);
        const long v = std::lround(camera.fy * point[1] / z + camera.cy);
        const vela::Vector4<unsigned char> rgba = vela::unpackColor(point[3]);
        for (long dv = 0; dv < 2; ++dv)
            for (long du = 0; du < 2; ++du) {
                const long x = u + du, y = v + dv;
                if (x < 0 || y < 0 || x >= static_cast<long>(width) || y >= static_cast<long>(height))
                    continue;
                const size_t at = static_cast<size_t>(y) * width + static_cast<size_t>(x);
                if (z >= nearest[at]) continue;
                nearest[at] = z;
                unsigned char* bgra = pixels + 4 * at;
                bgra[0] = rgba[2];
                bgra[1] = rgba[1];
                bgra[2] = rgba[0];
                bgra[3] = 255;
            }
    }
}

void walkPointCloud(const Options& options, const demo::Camera& camera) {
    vela::Mat depth, colour;
    run("render the synthetic scene",
        [&] { demo::renderScene(camera, options.width, options.height, depth, colour); });
    depth.name = "depth (mm)";
    colour.name = "colour";

    std::string why;
    const vela::MEM side = chooseCloudMemory(why);
    const std::string where = side == vela::MEM::GPU ? " (GPU)" : " (host)";
    std::printf("  cloud in %s memory: %s\n", side == vela::MEM::GPU ? "GPU" : "host", why.c_str());

    vela::CameraParameters intrinsics;
    intrinsics.fx = camera.fx;
    intrinsics.fy = camera.fy;
    intrinsics.cx = camera.cx;
    intrinsics.cy = camera.cy;
    intrinsics.image_size = vela::Resolution(options.width, options.height);
    intrinsics.updateFieldsOfView();
    std::printf("  camera: %s\n", intrinsics.getInfos().c_str());

    // A capture module hands over depth and colour where the work runs: GPU memory when there is a GPU.
    vela::Mat depthIn = depth, colourIn = colour;
    if (side == vela::MEM::GPU) {
        depthIn = vela::Mat();
        colourIn = vela::Mat();
        step("copy depth and colour to the GPU", [&] {
            const vela::ERROR_CODE status = depthIn.setFrom(depth, vela::COPY_TYPE::CPU_GPU);
            return status != vela::ERROR_CODE::SUCCESS ? status
                                                       : colourIn.setFrom(colour, vela::COPY_TYPE::CPU_GPU);
        });
    }
    vela::Mat cloud;
    step("depthToPointCloud to F32_C4 with packed colour" + where,
         [&] { return vela::depthToPointCloud(depthIn, colourIn, intrinsics, cloud, {}, side); });
    cloud.name = "point cloud";

    // The cloud seen from a second viewpoint shows that it is right: surfaces keep their shapes and
    // colours, and what the first camera could not see is missing.
    vela::Mat view;
    run("render the cloud from a second viewpoint", [&] { renderSecondView(cloud, side, intrinsics, view); });
    view.name = "second view";

    step("convertPointCloudUnit MILLIMETER -> METER" + where,
         [&] { return vela::convertPointCloudUnit(cloud, vela::UNIT::MILLIMETER, vela::UNIT::METER, side); });
    step("convertCoordinateSystem IMAGE -> RIGHT HANDED Z UP" + where, [&] {
        return vela::convertCoordinateSystem(cloud, vela::COORDINATE_SYSTEM::IMAGE,
                                             vela::COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, side);
    });

    vela::Mat preview;
    run("colourise the depth map", [&] { demo::colouriseDepth(depth, preview); });
    preview.name = "depth preview";

    std::printf("\nFiles\n");
    // The typical request: write() brings a GPU cloud to the host first, then writes the PLY.
    const fs::path ply = options.outDir / "cloud.ply";
    writeFile(ply, [&] { return cloud.write(vela::String(ply.c_str()), side); });
    for (const auto& [format, extension] :
         {std::pair{vela::POINT_CLOUD_FORMAT::PCD, ".pcd"}, std::pair{vela::POINT_CLOUD_FORMAT::VTK, ".vtk"},
          std::pair{vela::POINT_CLOUD_FORMAT::XYZ, ".xyz"}}) {
        const fs::path path = options.outDir / (std::string("cloud") + extension);
        writeFile(path,
                  [&] { return vela::savePointCloudAs(cloud, format, vela::String(path.c_str()), true); });
    }
    for (const auto& [format, extension] :
         {std::pair{vela::DEPTH_FORMAT::PNG, ".png"}, std::pair{vela::DEPTH_FORMAT::PFM, ".pfm"},
          std::pair{vela::DEPTH_FORMAT::PGM, ".pgm"}}) {
        const fs::path path = options.outDir / (std::string("depth") + extension);
        writeFile(path, [&] { return vela::saveDepthAs(depth, format, vela::String(path.c_str())); });
    }
    // The lossless forms: binary, every colour bit kept, PFM bottom row first as readers expect.
    const vela::PointCloudWriteOptions lossless{vela::FILE_ENCODING::BINARY, true, false};
    for (const auto& [format, file] : {std::pair{vela::POINT_CLOUD_FORMAT::PLY, "cloud_lossless.ply"},
                                       std::pair{vela::POINT_CLOUD_FORMAT::PCD, "cloud_lossless.pcd"}}) {
        const fs::path path = options.outDir / file;
        writeFile(path,
                  [&] { return vela::writePointCloud(cloud, vela::String(path.c_str()), format, lossless); });
    }
    const fs::path pfm = options.outDir / "depth_lossless.pfm";
    writeFile(pfm,
              [&] { return vela::writeDepth(depth, vela::String(pfm.c_str()), vela::DEPTH_FORMAT::PFM); });
    for (const auto& [mat, file] :
         {std::pair{&preview, "depth_preview.png"}, std::pair{&colour, "colour.png"},
          std::pair{&view, "cloud_second_view.png"}}) {
        const fs::path path = options.outDir / file;
        writeFile(path, [&, mat = mat] { return mat->write(vela::String(path.c_str())); });
    }

    std::printf("\nRead back\n");
    vela::Mat readBack;
    const fs::path binaryPly = options.outDir / "cloud_lossless.ply";
    step("readPointCloud cloud_lossless.ply",
         [&] { return vela::readPointCloud(vela::String(binaryPly.c_str()), readBack); });
    readBack.name = "cloud read back";
    std::printf("  %zu valid points of %zu pixels\n", readBack.getWidth() * readBack.getHeight(),
                options.width * options.height);

    std::printf("\nMats\n");
    for (const vela::Mat* mat : {&depth, &colour, &cloud, &preview, &view, &readBack})
        std::printf("  %s", mat->getInfos().c_str());
}

void walkPose(const Options& options) {
    std::printf("\nCamera pose\n");
    // Turned 35 degrees about the IMAGE system's vertical (y, pointing down), tilted a little, 1.3 m up.
    vela::Transform pose;
    pose.setEulerAngles(vela::Vector3<float>(-8.0f, 35.0f, 4.0f), false);
    pose.setTranslation(vela::Translation(250.0f, -1300.0f, -800.0f));
    printPose("IMAGE, millimetres", pose, false);
    step("convertCoordinateSystem IMAGE -> RIGHT HANDED Z UP", [&] {
        return vela::convertCoordinateSystem(pose, vela::COORDINATE_SYSTEM::IMAGE,
                                             vela::COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP);
    });
    step("convertUnit MILLIMETER -> METER",
         [&] { return vela::convertUnit(pose, vela::UNIT::MILLIMETER, vela::UNIT::METER); });
    printPose("RIGHT HANDED Z UP, metres", pose, true);
    step("removeYaw", [&] { return vela::removeYaw(pose, vela::COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP); });
    printPose("without yaw", pose, true);
    const vela::Pose stamped(pose, 1700000000000000000ULL, 100);
    std::printf("  as a Pose stamped %llu, confidence %d\n", stamped.timestamp, stamped.pose_confidence);

    std::printf("\nLink configuration\n");
    vela::CommunicationParameters link;
    link.setForLocalNetwork("192.168.1.20", 30000);
    const fs::path path = options.outDir / "communication.json";
    writeFile(path, [&] { return link.save(vela::String(path.c_str()), vela::SERIALIZATION_FORMAT::JSON); });
    vela::CommunicationParameters loaded;
    if (!loaded.load(vela::String(path.c_str()), vela::SERIALIZATION_FORMAT::JSON) || loaded != link)
        fail("communication.json did not read back as written");
    std::printf("  read back: %s %s:%d\n", vela::toString(loaded.communication_type).c_str(),
                loaded.ip_add.c_str(), loaded.ip_port);
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);
    std::error_code error;
    fs::create_directories(options.outDir, error);
    if (error) fail("cannot create " + options.outDir.string() + ": " + error.message());

    std::printf("vela demo: a %zux%zu synthetic frame, files in %s\n\nSteps%*s time  status\n", options.width,
                options.height, options.outDir.c_str(), 64, "");
    walkPointCloud(options, demo::Camera::forResolution(options.width, options.height));
    walkPose(options);
    std::printf("\nDone: every step succeeded.\n");
    return 0;
}
