#pragma once

/// Marks what the framework's shared library shows to its users; everything else is hidden.
/// One macro serves importing and exporting: on the supported platforms default visibility is both.
#define TARN_EXPORT __attribute__((visibility("default")))
