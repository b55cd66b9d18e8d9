#pragma once

#include <cstdint>
#include <vector>

#include "vela/core/export.hpp"
#include "vela/core/string.hpp"
#include "vela/core/vector.hpp"
#include "vela/mat/mat.hpp"

namespace vela {

/// A detection made by the caller's own detector, handed to the kit's object detection.
class VELA_API CustomBoxObjectData {
  public:
    /// A fresh identifier, a zero box, no label (-1), probability 0, on the ground, not static, and the
    /// tracking defaults.
    CustomBoxObjectData();

    /// Identifier of the object, unique without coordination (see generate_unique_id).
    String unique_object_id;
    /// The four corners of the 2-D box in pixels: top-left, top-right, bottom-right, bottom-left. Signed,
    /// as a box may reach past the image's edges.
    std::vector<Vector2<int32_t>> bounding_box_2d;
    /// The caller's class label; -1: none.
    int32_t label = -1;
    /// Detection confidence, 0 to 1.
    float probability = 0.f;
    /// The object rests on the floor, so tracking may keep it on the floor plane.
    bool is_grounded = true;
    /// The object never moves, so tracking may hold its position while it is hidden.
    bool is_static = false;
    /// Seconds a lost object keeps its identity before tracking drops it; negative: the module's default.
    float tracking_timeout = -1.f;
    /// Distance in metres beyond which the object is no longer tracked; negative: the module's default.
    float tracking_max_dist = -1.f;
};

/// A detection with its mask: the fields and defaults of CustomBoxObjectData, then the mask.
class VELA_API CustomMaskObjectData : public CustomBoxObjectData {
  public:
    /// A fresh identifier and the defaults of CustomBoxObjectData; the mask is empty.
    CustomMaskObjectData() = default;

    /// The object's mask, U8_C1 over the bounding box; empty until the caller fills it.
    Mat box_mask;
};

}  // namespace vela
