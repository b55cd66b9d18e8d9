#include "vela/geometry/pose.hpp"

namespace vela {

Pose::Pose() = default;

Pose::Pose(const Transform& transform, unsigned long long time, int confidence)
    : pose_data(transform), timestamp(time), pose_confidence(confidence) {}

Pose::Pose(const Pose& other)
    : pose_data(other.pose_data),
      timestamp(other.timestamp),
      pose_confidence(other.pose_confidence),
      valid(other.valid) {}

Pose& Pose::operator=(const Pose& other) {
    pose_data = other.pose_data;
    timestamp = other.timestamp;
    pose_confidence = other.pose_confidence;
    valid = other.valid;
    return *this;
}

// A pose read after its end, through a stale pointer, reads as an untrusted identity.
Pose::~Pose() {
    pose_data.setIdentity();
    valid = false;
}

Orientation Pose::getOrientation() const {
    return pose_data.getOrientation();
}

Translation Pose::getTranslation() const {
    return pose_data.getTranslation();
}

Rotation Pose::getRotationMatrix() const {
    return pose_data.getRotationMatrix();
}

Vector3<float> Pose::getRotationVector() const {
    return pose_data.getRotationVector();
}

Vector3<float> Pose::getEulerAngles(bool radian) const {
    return pose_data.getEulerAngles(radian);
}

}  // namespace vela
