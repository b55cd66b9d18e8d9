#pragma once

#include <string>

#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {
namespace uuid {

/// A random version-4 UUID text: 8-4-4-4-12 lower-case hexadecimal digits, the third group starting with
/// "4" and the fourth with one of "8", "9", "a", "b". The generator is shared by the process and seeded
/// once at load; it is not locked, so callers on several threads must serialise their calls.
VELA_API std::string generate_uuid_v4();

}  // namespace uuid

/// generate_uuid_v4() as a String; not thread-safe either.
VELA_API String generate_unique_id();

}  // namespace vela
