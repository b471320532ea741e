#pragma once

/// Marks what a library of the house shows to others; everything else stays hidden.
#define ORQ_EXPORT __attribute__((visibility("default")))
