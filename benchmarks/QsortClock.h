// How long the process has spent in qsort: this program's own qsort stands before the C library's
// and measures it.
#pragma once

namespace storage_benchmark {

// Since the program began.
double MillisecondsInQsort();

}  // namespace storage_benchmark
