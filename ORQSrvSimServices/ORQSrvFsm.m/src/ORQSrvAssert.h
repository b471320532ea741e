#pragma once

#include <cstdlib>
#include <string>

#include "ORQBasAssertException.h"
#include "ORQSimUttAssert.h"
#include "VEXFatalError.h"

/// The three forms of a failed check; each check uses exactly one. They do nothing
/// while `holds` is true. Hosts know a check by its expression text, file and line, so all three
/// are given as they are known and not taken from where the check stands. The texts must be
/// constants.
///
///     constexpr const char* s_source = ORQ_SRV_SOURCE("ORQSrvShellSection");
///     ORQSrvAssertThrown(count == 2 * n, "count == 2*n", s_source, 120);

/// The reported path of the source file of a class.
#define ORQ_SRV_SOURCE(className) "ORQSrvSimServices\\ORQSrvFsm.m\\src\\" className ".cpp"

/// Fatal form, where nothing is left to recover: the host runtime reports and ends the process.
inline void ORQSrvAssertFatal(bool holds, const char* expression, const char* file, int line) {
    if (!holds) {
        const std::string message = std::string("AssertionFailed:") + expression;
        VEXFatalError(message.c_str(), nullptr, nullptr, nullptr, file, line);
    }
}

/// Thrown form: raises an ORQBasAssertException with the bare expression, which the caller may
/// catch.
inline void ORQSrvAssertThrown(bool holds, const char* expression, const char* file, int line) {
    if (!holds) {
        ORQBasAssertException(expression).Throw(file, line);
    }
}

/// Reported form: the database layer reports the bare expression, and the process ends with exit
/// status 1.
inline void ORQSrvAssertReported(bool holds, const char* expression) {
    if (!holds) {
        ORQSimUttAssert::ReportAssertionFailure(expression);
        std::exit(1);
    }
}
