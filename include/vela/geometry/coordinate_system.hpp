#pragma once

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/matrix3f.hpp"
#include "vela/geometry/matrix4f.hpp"
#include "vela/geometry/transform.hpp"
#include "vela/mat/mat.hpp"
#include "vela/types/units.hpp"

namespace vela {

// Each COORDINATE_SYSTEM has a matrix M(s) that writes a point of system s in the IMAGE system (x right,
// y down, z forward). Systems and units outside their enumerations pass the range checks below when
// negative: such a system selects the identity, such a unit has no size.

/// C = M(dst)⁻¹ · M(src): maps coordinates in `coord_system_src` to coordinates in `coord_system_dst`.
/// Zero translation, bottom row (0, 0, 0, 1).
VELA_API Matrix4f getCoordinateTransformConversion4f(COORDINATE_SYSTEM coord_system_src,
                                                     COORDINATE_SYSTEM coord_system_dst);
/// The upper-left 3x3 block of getCoordinateTransformConversion4f.
VELA_API Matrix3f getCoordinateTransformConversion3f(COORDINATE_SYSTEM coord_system_src,
                                                     COORDINATE_SYSTEM coord_system_dst);

/// Size of `unit` in millimetres: 1, 10, 1000, 25.4 or 304.8; NaN for a value that names no unit.
VELA_API float getScaleMillimeter(UNIT unit);
/// The factor that turns a length in `unit_src` into the same length in `unit_dst`: exactly 1 for equal
/// units, else getScaleMillimeter(src) / getScaleMillimeter(dst).
VELA_API float getUnitScale(UNIT unit_src, UNIT unit_dst);

/// Rewrites `motion` in `coord_system_dst` as C · motion · C⁻¹ and clears its name. Equal systems: SUCCESS,
/// untouched. A system above 5: INVALID_COORDINATE_SYSTEM, untouched.
VELA_API ERROR_CODE convertCoordinateSystem(Transform& motion, COORDINATE_SYSTEM coord_system_src,
                                            COORDINATE_SYSTEM coord_system_dst);
/// Scales the translation of `motion` by getUnitScale; the rotation is untouched. A unit above 4:
/// INVALID_FUNCTION_PARAMETERS, untouched.
VELA_API ERROR_CODE convertUnit(Transform& motion, UNIT unit_src, UNIT unit_dst);

/// The rotation turning `reference` (a unit vector) onto the direction of `measured` (a gravity reading
/// of any length). Parallel or opposite vectors give non-finite elements.
VELA_API Matrix3f computeRotationMatrixFromGravity(Vector3<float> measured, Vector3<float> reference);

/// Removes the heading of `pose` and keeps its tilt: the result has zero yaw about the vertical axis of
/// `system` and the incoming roll and pitch, and the translation is unchanged. The vertical axis is y in
/// IMAGE (pointing down), y in LEFT_HANDED_Y_UP and RIGHT_HANDED_Y_UP, and z in RIGHT_HANDED_Z_UP,
/// LEFT_HANDED_Z_UP and RIGHT_HANDED_Z_UP_X_FWD (pointing up). Yaw turns about that axis, pitch about the
/// horizontal axis to the side (x of IMAGE), roll about the forward axis (z of IMAGE), applied roll, pitch,
/// then yaw. When the forward axis points within about 26° of the vertical (|sin pitch| > 0.9) heading and
/// roll are not separable, and the rotation becomes a quarter turn about the side axis, up or down.
/// A system above 5: INVALID_COORDINATE_SYSTEM, untouched.
VELA_API ERROR_CODE removeYaw(Transform& pose, COORDINATE_SYSTEM system);

/// Scales every point of an F32_C1, F32_C3 or F32_C4 `mat` by getUnitScale(src, dst), on the side `mem`
/// names: CPU on the host buffer; GPU on the GPU buffer, queued on the default stream without waiting;
/// MEM_BOTH on the GPU buffer, then copied back to the host buffer. Other `mem` values change nothing.
/// On the host all four floats of an F32_C4 element are scaled (a packed colour in the fourth changes);
/// on the GPU the fourth float keeps its bits. INVALID_FUNCTION_PARAMETERS for a unit above 4, another
/// element type or a missing side; FAILURE when the GPU refuses the work (reported on standard output).
VELA_API ERROR_CODE convertUnit(Mat& mat, UNIT unit_src, UNIT unit_dst, MEM mem);
/// Rewrites every point of an F32_C3 or F32_C4 `mat` from `coord_system_src` to `coord_system_dst` on the
/// side `mem` names, as convertUnit does. Only x, y and z move: the fourth float of an F32_C4 element (a
/// packed colour) keeps its bits on both sides. INVALID_COORDINATE_SYSTEM for a system above 5,
/// INVALID_FUNCTION_PARAMETERS for another element type or a missing side; FAILURE when the GPU refuses
/// the work (reported on standard output).
VELA_API ERROR_CODE convertCoordinateSystem(Mat& mat, COORDINATE_SYSTEM coord_system_src,
                                            COORDINATE_SYSTEM coord_system_dst, MEM mem);

}  // namespace vela
