#include "vela/types/custom_object_data.hpp"

#include "vela/core/uuid.hpp"

namespace vela {

CustomBoxObjectData::CustomBoxObjectData() : unique_object_id(generate_unique_id()), bounding_box_2d(4) {}

}  // namespace vela
