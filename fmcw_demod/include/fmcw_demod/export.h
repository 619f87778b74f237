#pragma once

/// Marks what hosts may use; everything else in the library is built with hidden visibility.
#define FMCW_DEMOD_EXPORT __attribute__((visibility("default")))
