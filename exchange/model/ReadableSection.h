#pragma once

#include <string>

#include "ORQBasFailure.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSrvShellSection.h"

namespace orq::exchange {

/// The layers of a stored section. For layers that contradict each other, of which their reader
/// says neither that the model is damaged nor in which section, throws ORQBasFailure (Damaged).
inline ORQSrvShellSection ReadableSection(const ORQSimPosition& section) {
    try {
        return ORQSrvShellSection(section);
    } catch (ORQBasException& exception) {
        const auto* failure = dynamic_cast<const ORQBasFailure*>(&exception);
        throw ORQBasFailure(
            ORQBasFailureKind::Damaged,
            "the layers of shell section \"" + section.Name(ORQSimSchema::Record_name).UTF8() +
                "\" cannot be read: " +
                (failure != nullptr
                     ? failure->Text()
                     : std::string(exception.DeveloperReport(ORQBasStringMode::Unicode).c_str())));
    }
}

}  // namespace orq::exchange
