#pragma once

#include <cstdint>

#include "vela/core/export.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/orientation.hpp"
#include "vela/geometry/rotation.hpp"
#include "vela/geometry/transform.hpp"
#include "vela/geometry/translation.hpp"

namespace vela {

/// A rigid transform stamped with a time and a confidence. Only the producer of a pose marks it valid:
/// one built from values, or destroyed, is not.
class VELA_API Pose {
  public:
    /// The pose as a rigid transform.
    Transform pose_data;
    /// Time of the pose, in the kit's timestamp unit.
    unsigned long long timestamp = 0;
    /// Confidence given by the producer of the pose.
    int pose_confidence = 0;
    /// Room for a 6x6 matrix of the producer; no operation here reads, writes or copies it.
    float reserved_block[36];
    /// Whether the pose has been produced and may be trusted.
    bool valid = false;

    /// The identity, time 0, confidence 0, not valid.
    Pose();  // NOLINT(cppcoreguidelines-pro-type-member-init): reserved_block is left to its producer
    /// Copies the transform's elements, stores the time and the confidence; not valid.
    Pose(const Transform& pose_data, unsigned long long timestamp, int confidence);
    /// Copies the transform, time, confidence and validity, but not reserved_block.
    Pose(const Pose& other);  // NOLINT(cppcoreguidelines-pro-type-member-init)
    /// Assigns what the copy constructor copies.
    Pose& operator=(const Pose& other);
    /// Leaves the pose as the identity and not valid.
    ~Pose();

    /// The quaternion of the rotation block of pose_data.
    Orientation getOrientation() const;
    /// The translation column of pose_data.
    Translation getTranslation() const;
    /// The rotation block (upper-left 3x3) of pose_data.
    Rotation getRotationMatrix() const;
    /// The rotation of pose_data as an axis scaled by the angle in radians (see Rotation::getRotationVector).
    Vector3<float> getRotationVector() const;
    /// Angles about x, y and z of the rotation of pose_data, in degrees when `radian` is false.
    Vector3<float> getEulerAngles(bool radian = true) const;
};

}  // namespace vela
