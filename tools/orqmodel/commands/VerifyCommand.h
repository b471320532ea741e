#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct VerifyOptions {
    std::string database;
    bool json = false;
};

/// Compares every checksum of a model database and follows every reference; prints what is wrong,
/// one line each. kUnreadable when anything is. Throws ORQBasFailure for what is no model database
/// or cannot be opened for another reason than damage.
ExitStatus RunVerify(const VerifyOptions& options, const Console& console);

}  // namespace orqmodel
