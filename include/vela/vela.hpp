#pragma once

// The whole public interface of vela.

#include "vela/core/cuda_check.hpp"
#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/logger.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/resolution.hpp"
#include "vela/core/string.hpp"
#include "vela/core/vector.hpp"
#include "vela/geometry/matrix3f.hpp"
#include "vela/geometry/matrix4f.hpp"
#include "vela/geometry/orientation.hpp"
#include "vela/geometry/pose.hpp"
#include "vela/geometry/rotation.hpp"
#include "vela/geometry/transform.hpp"
#include "vela/geometry/translation.hpp"
