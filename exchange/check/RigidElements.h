#pragma once

#include <array>
#include <string_view>

#include "ORQExcModel.h"

namespace orq::exchange {

/// Rigid elements of a deck are node sets, named by card and number: "RBE2 5".
inline bool IsRigidElement(const ORQExcModel::Set& set) {
    for (const std::string_view card : {"RBE2 ", "RBE3 ", "RBAR "}) {
        if (set.name.starts_with(card)) {
            return true;
        }
    }
    return false;
}

}  // namespace orq::exchange
