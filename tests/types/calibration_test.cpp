#include <gtest/gtest.h>

#include <string>

#include "support/temp_dir.hpp"
#include "vela/types/calibration.hpp"

namespace {

using vela::CalibrationParameters;
using vela::CameraParameters;
using vela::Resolution;
using vela::SERIALIZATION_FORMAT;
using vela::String;

constexpr SERIALIZATION_FORMAT kJson = SERIALIZATION_FORMAT::JSON;

CameraParameters camera720() {
    CameraParameters camera;
    camera.fx = 700.25f;
    camera.fy = 699.5f;
    camera.cx = 640.125f;
    camera.cy = 359.75f;
    camera.disto[0] = -0.171;
    camera.disto[4] = 0.0123456789012345;
    camera.image_size = Resolution(1280, 720);
    camera.updateFieldsOfView();
    return camera;
}

TEST(CameraParameters, encodes_every_stored_member_and_prints_one_line) {
    CameraParameters camera;
    camera.fx = camera.fy = 500;
    camera.cx = 320;
    camera.cy = 240;
    camera.image_size = Resolution(640, 480);
    camera.updateFieldsOfView();
    // 2 atan(320 / 500) = 65.2385 degrees; 2 atan(240 / 500) = 51.28 degrees.
    EXPECT_NEAR(camera.h_fov, 65.2385, 1e-3);
    EXPECT_NEAR(camera.v_fov, 51.2819, 1e-3);
    String text;
    ASSERT_TRUE(camera.encode(text, kJson));
    EXPECT_EQ(
        std::string(text.c_str()),
        "{\n  \"CameraParameters\": {\n    \"cx\": 320.0,\n    \"cy\": 240.0,\n    \"disto\": [\n"
        "      0.0,\n      0.0,\n      0.0,\n      0.0,\n      0.0,\n      0.0,\n      0.0,\n      0.0,\n"
        "      0.0,\n      0.0,\n      0.0,\n      0.0\n    ],\n    \"fx\": 500.0,\n    \"fy\": 500.0,\n"
        "    \"image_size\": {\n      \"height\": 480,\n      \"width\": 640\n    }\n  }\n}");
    EXPECT_EQ(std::string(camera.getInfos().c_str()),
              "fx 500 fy 500 cx 320 cy 240 image 640x480 fov 65.2x51.3 deg distortion [0 0 0 0 0]");
    EXPECT_FALSE(camera.encode(text, SERIALIZATION_FORMAT::NONE));
    EXPECT_TRUE(text.empty());
}

TEST(CameraParameters, round_trips_exactly_through_text_and_files) {
    const CameraParameters camera = camera720();
    String text;
    ASSERT_TRUE(camera.encode(text, kJson));
    CameraParameters decoded;
    ASSERT_TRUE(decoded.decode(text, kJson));
    EXPECT_EQ(decoded, camera);

    vela::test::TempDir dir;
    CalibrationParameters calibration;
    calibration.left_cam = camera;
    calibration.right_cam = camera;
    calibration.right_cam.cx = 641.5f;
    calibration.right_cam.updateFieldsOfView();
    calibration.stereo_transform.setEulerAngles(vela::Vector3<float>(0.01f, -0.002f, 0.0003f));
    calibration.stereo_transform.setTranslation(vela::Translation(119.87f, 0.13f, -0.4f));
    const String path(dir.path("calibration.json").c_str());
    ASSERT_TRUE(calibration.save(path, kJson));
    CalibrationParameters loaded;
    ASSERT_TRUE(loaded.load(path, kJson));
    EXPECT_EQ(loaded, calibration);
    EXPECT_EQ(loaded.getCameraBaseline(), 119.87f);
}

TEST(CameraParameters, refused_members_leave_the_record_as_it_was) {
    const CameraParameters original = camera720();
    for (const char* text : {
             R"({"CameraParameters": {"fx": 1, "cx": "640"}})",
             R"({"CameraParameters": {"fx": 1, "image_size": {"width": -1}}})",
             R"({"CameraParameters": {"fx": 1, "image_size": {"width": 2.5}}})",
             R"({"CameraParameters": {"fx": 1, "disto": [0,0,0,0,0,0,0,0,0,0,0,0,0]}})",
             R"({"CameraParameters": {"fx": 1, "disto": [0, null]}})",
             R"({"CameraParameters": [1, 2]})",
             R"([1, 2])",
             R"({"CameraParameters": )",
         }) {
        CameraParameters camera = original;
        EXPECT_FALSE(camera.decode(String(text), kJson)) << text;
        EXPECT_EQ(camera, original) << text;
    }
    CameraParameters camera = original;
    EXPECT_FALSE(camera.load(String("/nonexistent/calibration.json"), kJson));
    EXPECT_EQ(camera, original);

    CalibrationParameters calibration;
    calibration.left_cam = original;
    const CalibrationParameters before = calibration;
    EXPECT_FALSE(calibration.decode(
        String(R"({"CalibrationParameters": {"left_cam": {"fx": 3}, "stereo_transform": [1, 2, 3]}})"),
        kJson));
    EXPECT_EQ(calibration, before);
}

TEST(CameraParameters, decode_keeps_members_the_text_does_not_name) {
    CameraParameters camera = camera720();
    ASSERT_TRUE(camera.decode(String(R"({"CameraParameters": {"fx": 350, "disto": [0.5]}})"), kJson));
    EXPECT_EQ(camera.fx, 350.0f);
    EXPECT_EQ(camera.cx, 640.125f);
    EXPECT_EQ(camera.disto[0], 0.5);
    EXPECT_EQ(camera.disto[4], 0.0);        // a shorter list means the rest are zero
    EXPECT_NEAR(camera.h_fov, 122.7, 0.1);  // derived again from the new focal length
}

TEST(CameraParameters, scale_to_half_resolution_halves_focal_lengths_and_principal_point) {
    const CameraParameters half = camera720().scale(Resolution(640, 360));
    EXPECT_EQ(half.fx, 350.125f);
    EXPECT_EQ(half.fy, 349.75f);
    EXPECT_EQ(half.cx, 320.0625f);
    EXPECT_EQ(half.cy, 179.875f);
    EXPECT_EQ(half.image_size, Resolution(640, 360));
    EXPECT_FLOAT_EQ(half.h_fov, camera720().h_fov);
    EXPECT_EQ(half.disto[0], -0.171);
}

}  // namespace
