#pragma once

/// Marks what the library shows to its users; everything else is hidden.
/// One macro serves importing and exporting: on the supported platforms default visibility is both.
#define NIMBO_EXPORT __attribute__((visibility("default")))
