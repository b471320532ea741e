#pragma once

#include "ORQBasExport.h"

/// Starting and stopping the library.
///
/// A host calls ORQSrvBasic_initialize() before anything else of the library and
/// ORQSrvBasic_finalize() after the last use, from one thread at a time. Every entry point with an
/// argument adds 1 to the caller's tally for each module that became live because of the call, and
/// subtracts 1 for each that became dead; it never reads the tally. Nothing catches a finalize too
/// many: its counter wraps and the call does nothing else.

/// The first call initializes, with the same tally, the platform libraries (the object layer first,
/// the allocator last), the sub-modules ORQSrvSsm, ORQSrvFsm and ORQSrvKwd, and the library's
/// specific part.
ORQ_EXPORT void ORQSrvBasic_initialize(int& callersTally);

/// The last call finalizes all that in exactly the reverse order.
ORQ_EXPORT void ORQSrvBasic_finalize(int& callersTally);

/// The specific part alone, which shares its counter with the full entry points.
ORQ_EXPORT void ORQSrvBasic_specific_initialize(int& callersTally);
ORQ_EXPORT void ORQSrvBasic_specific_finalize(int& callersTally);

/// The full entry points for callers without C++; they share a tally of the library's own.
extern "C" ORQ_EXPORT void ORQSrvBasic_initializeC();
extern "C" ORQ_EXPORT void ORQSrvBasic_finalizeC();

ORQ_EXPORT void ORQSrvSsm_initialize(int& callersTally);
ORQ_EXPORT void ORQSrvSsm_finalize(int& callersTally);

ORQ_EXPORT void ORQSrvFsm_initialize(int& callersTally);
/// The last call also destroys the ORQSrvBulkShellLayers singleton.
ORQ_EXPORT void ORQSrvFsm_finalize(int& callersTally);

ORQ_EXPORT void ORQSrvKwd_initialize(int& callersTally);
ORQ_EXPORT void ORQSrvKwd_finalize(int& callersTally);

enum class ORQSrvLoaderReason {
    ProcessDetach = 0,
    ProcessAttach = 1,
    ThreadAttach = 2,
    ThreadDetach = 3
};

/// What the loader does with the library: a full initialize when a process attaches, a full
/// finalize when it detaches, with a tally of the loader's own; nothing for threads. Always 1, for
/// success. The loading and unloading of the shared object call it.
ORQ_EXPORT int ORQSrvBasic_loaderEntry(ORQSrvLoaderReason reason);

/// Always 1: the host framework recognizes the module by it.
ORQ_EXPORT int ORQSrvBasic_marker();
