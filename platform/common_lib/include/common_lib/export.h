#pragma once

/// Marks what leaves the shared library that this code is linked into.
#define COMMON_LIB_EXPORT __attribute__((visibility("default")))
