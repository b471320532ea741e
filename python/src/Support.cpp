#include "Support.h"

#include <vector>

namespace orqmodel {

std::recursive_mutex& LibraryMutex() {
    static std::recursive_mutex& mutex = *new std::recursive_mutex;
    return mutex;
}

std::function<void(double)> ProgressTo(const py::object& callable) {
    // A raw pointer: the caller holds the object as long as the work goes on.
    const auto* const target = callable.is_none() ? nullptr : &callable;
    return [target](double done) {
        const py::gil_scoped_acquire acquired;
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
        if (target != nullptr) {
            (*target)(done);
        }
    };
}

void CheckIndex(const std::string& what, std::int64_t index, std::int64_t count) {
    if (index < 0 || index >= count) {
        throw py::index_error(what + " " + std::to_string(index) + " is none of [0, " +
                              std::to_string(count) + ")");
    }
}

void CheckOrdinals(const std::string& what, std::span<const int> ordinals, int count) {
    std::vector<bool> seen(static_cast<std::size_t>(count));
    for (const int ordinal : ordinals) {
        CheckIndex(what, ordinal, count);
        if (seen[static_cast<std::size_t>(ordinal)]) {
            throw py::value_error(what + " " + std::to_string(ordinal) + " is given twice");
        }
        seen[static_cast<std::size_t>(ordinal)] = true;
    }
}

}  // namespace orqmodel
