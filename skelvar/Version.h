#pragma once

// The one place that states the version; the build reads it from here.
#define SKELVAR_VERSION_MAJOR 0
#define SKELVAR_VERSION_MINOR 1
#define SKELVAR_VERSION_PATCH 0

/// "major.minor.patch". Programs built against one minor version of the 0 series do not run with
/// another; from 1.0 on the major version alone decides.
#define SKELVAR_VERSION "0.1.0"
