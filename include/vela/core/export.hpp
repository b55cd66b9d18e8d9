#pragma once

/// Marks a symbol as part of the shared library's interface; everything else stays hidden.
#if defined(_WIN32)
#define VELA_API __declspec(dllexport)
#else
#define VELA_API __attribute__((visibility("default")))
#endif
