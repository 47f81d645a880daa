#pragma once

/// Marks what the library shows to its users; all else is hidden.
#define ORVEL_API __attribute__((visibility("default")))
