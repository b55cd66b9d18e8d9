#include "vela/geometry/transform.hpp"

namespace vela {

Transform::Transform(const Matrix4f& matrix) : Matrix4f(matrix) {}

Transform::Transform(const Rotation& rotation, const Translation& translation) {
    setRotationMatrix(rotation);
    setTranslation(translation);
}

Transform::Transform(const Orientation& orientation, const Translation& translation) {
    setOrientation(orientation);
    setTranslation(translation);
}

void Transform::setRotationMatrix(const Rotation& rotation) {
    static_cast<void>(setSubMatrix3f(rotation, 0, 0));  // fixed indices: cannot fail
}

Rotation Transform::getRotationMatrix() const {
    Rotation rotation;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            rotation(i, j) = (*this)(i, j);
    return rotation;
}

void Transform::setTranslation(const Translation& translation) {
    static_cast<void>(setSubVector3f(translation, 3));  // fixed index: cannot fail
}

Translation Transform::getTranslation() const {
    return Translation((*this)(0, 3), (*this)(1, 3), (*this)(2, 3));
}

void Transform::setOrientation(const Orientation& orientation) {
    setRotationMatrix(orientation.getRotationMatrix());
}

Orientation Transform::getOrientation() const {
    return getRotationMatrix().getOrientation();
}

Vector3<float> Transform::getRotationVector() const {
    return getRotationMatrix().getRotationVector();
}

void Transform::setRotationVector(const Vector3<float>& vec) {
    Rotation rotation;
    rotation.setRotationVector(vec);
    setRotationMatrix(rotation);
}

Vector3<float> Transform::getEulerAngles(bool radian) const {
    return getRotationMatrix().getEulerAngles(radian);
}

void Transform::setEulerAngles(const Vector3<float>& euler_angles, bool radian) {
    Rotation rotation;
    rotation.setEulerAngles(euler_angles, radian);
    setRotationMatrix(rotation);
}

}  // namespace vela
