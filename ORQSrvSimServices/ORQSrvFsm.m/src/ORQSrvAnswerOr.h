#pragma once

#include <utility>

#include "ORQBasFailure.h"

/// What a lookup returns, or the fallback where the objects that it meets are not what it looks
/// for: a field of a record that holds another kind of value, an object of a closed database. There
/// is no cheaper test than to read it. Damage and failures of the disk pass.
template <class Answer, class Lookup>
Answer ORQSrvAnswerOr(Answer fallback, Lookup&& lookup) {
    try {
        return std::forward<Lookup>(lookup)();
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Usage) {
            throw;
        }
        return fallback;
    }
}
