#pragma once

// The whole public interface of vela.

#include "vela/core/cuda_check.hpp"
#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/logger.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/resolution.hpp"
#include "vela/core/string.hpp"
#include "vela/core/uuid.hpp"
#include "vela/core/vector.hpp"
#include "vela/mat/mat.hpp"
#include "vela/serialization/communication_parameters.hpp"
#include "vela/serialization/json_file.hpp"
#include "vela/serialization/serialization_format.hpp"
#include "vela/types/body_tracking.hpp"
#include "vela/types/camera.hpp"
#include "vela/types/custom_object_data.hpp"
#include "vela/types/enum_names.hpp"
#include "vela/types/object_detection.hpp"
#include "vela/types/sensors.hpp"
#include "vela/types/units.hpp"
