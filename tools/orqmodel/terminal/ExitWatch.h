#pragma once

namespace orqmodel {

/// From here on a process that ends early, because something in it called exit or abort on a
/// broken invariant, says so on standard error and ends with ExitStatus::BrokenInvariant.
void WatchForEarlyExit();

/// The end was reached normally.
void EndWatch();

}  // namespace orqmodel
