#pragma once

#include "ORQBasExport.h"

/// What the guest library offers under unmangled names.
extern "C" {

/// The address of the singleton as the guest sees it.
ORQ_EXPORT void* Guest_Layers();

/// Ends the singleton.
ORQ_EXPORT void Guest_FinalizeLayers();

/// Throws ORQBasAssertException of the guest's own making, with this line.
ORQ_EXPORT void Guest_ThrowAssertion(int line);
}
