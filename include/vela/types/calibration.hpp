#pragma once

#include "vela/core/export.hpp"
#include "vela/core/resolution.hpp"
#include "vela/core/string.hpp"
#include "vela/geometry/transform.hpp"
#include "vela/serialization/serialization_format.hpp"

namespace vela {

/// Intrinsics of one camera: a pinhole model in pixels of an image of `image_size`, with the lens's
/// distortion coefficients. A pixel (u, v) whose depth is z lies at ((u - cx) z / fx, (v - cy) z / fy, z)
/// in the camera's IMAGE system. Encoded as {"CameraParameters": {"cx": .., "cy": .., "disto": [12
/// numbers], "fx": .., "fy": .., "image_size": {"height": .., "width": ..}}}; the fields of view are
/// derived and not stored.
class VELA_API CameraParameters {
  public:
    /// Focal length along x, in pixels.
    float fx = 0;
    /// Focal length along y, in pixels.
    float fy = 0;
    /// Column of the principal point, in pixels (pixel centres lie at whole numbers).
    float cx = 0;
    /// Row of the principal point, in pixels.
    float cy = 0;
    /// Distortion coefficients in OpenCV's order: k1, k2, p1, p2, k3, k4, k5, k6, s1, s2, s3, s4; zero for
    /// an undistorted (rectified) image.
    double disto[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    /// Horizontal field of view in degrees, 2 atan(width / (2 fx)); set by updateFieldsOfView.
    float h_fov = 0;
    /// Vertical field of view in degrees, 2 atan(height / (2 fy)); set by updateFieldsOfView.
    float v_fov = 0;
    /// Diagonal field of view in degrees, 2 atan(sqrt(w² + h²) / (fx + fy)); set by updateFieldsOfView.
    float d_fov = 0;
    /// Size of the image these parameters describe, in pixels.
    Resolution image_size;

    /// Derives h_fov, v_fov and d_fov from the focal lengths and image_size (0 where a focal length is not
    /// positive).
    void updateFieldsOfView();
    /// The same camera for an image of `resolution`: focal lengths and principal point scaled by the ratio
    /// of the widths along x and of the heights along y, distortion unchanged, fields of view derived.
    /// An image_size with a zero side gives a copy with only image_size changed.
    CameraParameters scale(const Resolution& resolution) const;

    /// Every stored field equal (exact float comparison; the derived fields of view included).
    bool operator==(const CameraParameters& other) const;
    /// Any stored field different.
    bool operator!=(const CameraParameters& other) const { return !(*this == other); }

    /// One line: "fx 700 fy 700 cx 640 cy 360 image 1280x720 fov 84.9x54.4 deg distortion [k1 ...]".
    String getInfos() const;

    /// Writes the record as JSON (2-blank indentation, keys sorted); false, with `out` empty, for NONE.
    bool encode(String& out, SERIALIZATION_FORMAT format) const;
    /// Reads the members present in `text`, keeping the others, and derives the fields of view. False,
    /// with the record unchanged, for NONE, text that is not JSON, or a member of the wrong kind (a text
    /// where a number belongs, a negative or fractional image size, more than 12 coefficients).
    bool decode(const String& text, SERIALIZATION_FORMAT format);
    /// Writes the record to `path` as encode does, replacing the file whole or not at all.
    bool save(String path, SERIALIZATION_FORMAT format) const;
    /// Reads the file `path` as decode does; false, with the record unchanged and the reason logged, when
    /// the file cannot be read or holds no valid record.
    bool load(String path, SERIALIZATION_FORMAT format);
};

/// A calibrated stereo pair: both cameras' intrinsics and the rigid transform from the left camera to
/// the right one. Encoded as {"CalibrationParameters": {"left_cam": {...}, "right_cam": {...},
/// "stereo_transform": [16 numbers, row-major]}}, each camera as CameraParameters encodes its members.
class VELA_API CalibrationParameters {
  public:
    /// Intrinsics of the left camera, the reference of depth and point clouds.
    CameraParameters left_cam;
    /// Intrinsics of the right camera.
    CameraParameters right_cam;
    /// Pose of the right camera in the left camera's IMAGE system; its translation is in the unit the
    /// calibration was made in (millimetres for the kit's cameras).
    Transform stereo_transform;

    /// The distance between the two optical centres along the left camera's x axis: the x of the
    /// stereo transform's translation, in its unit.
    float getCameraBaseline() const;
    /// Both cameras scaled to `resolution` (see CameraParameters::scale); the transform is unchanged.
    CalibrationParameters scale(const Resolution& resolution) const;

    /// Both cameras and every element of the transform equal (exact comparison).
    bool operator==(const CalibrationParameters& other) const;
    /// Anything different.
    bool operator!=(const CalibrationParameters& other) const { return !(*this == other); }

    /// Three lines: "left: " and "right: " with each camera's getInfos, then "baseline " and the
    /// translation.
    String getInfos() const;

    /// Writes the record as JSON; false, with `out` empty, for NONE.
    bool encode(String& out, SERIALIZATION_FORMAT format) const;
    /// Reads the members present in `text` as CameraParameters::decode does; false, with the record
    /// unchanged, for anything it refuses (a transform that is not 16 numbers included).
    bool decode(const String& text, SERIALIZATION_FORMAT format);
    /// Writes the record to `path`, replacing the file whole or not at all.
    bool save(String path, SERIALIZATION_FORMAT format) const;
    /// Reads the file `path` as decode does; false, with the record unchanged, on any failure.
    bool load(String path, SERIALIZATION_FORMAT format);
};

}  // namespace vela
