#include "Errors.h"

#include <cerrno>
#include <cstring>

#include "ORQBasAssertException.h"
#include "ORQBasFailure.h"
#include "ORQExcExportError.h"
#include "ORQExcImportError.h"

namespace orqmodel {
namespace {

// The exceptions live as long as the interpreter.
PyObject* damagedError;
PyObject* foreignError;
PyObject* busyError;
PyObject* refusedError;
PyObject* invariantError;
PyObject* formatError;

/// Texts may hold names of files in whatever encoding.
py::object TextOf(const std::string& text) {
    return py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(
        text.data(), static_cast<py::ssize_t>(text.size()), "surrogateescape"));
}

void Set(PyObject* type, const std::string& text) {
    PyErr_SetObject(type, TextOf(text).ptr());
}

/// The number of the system's error with whose text a message ends; 0 when it ends with none.
int ErrorNumberOf(const std::string& text) {
    // The last that Linux has.
    constexpr int kMost = 133;
    for (int number = 1; number <= kMost; ++number) {
        if (text.ends_with(std::string(": ") + std::strerror(number))) {
            return number;
        }
    }
    return 0;
}

/// OSError, or the class of it that Python has for the error's number.
void RaiseSystemError(const std::string& text) {
    const int number = ErrorNumberOf(text);
    if (number == 0) {
        Set(PyExc_OSError, text);
        return;
    }
    const py::object error =
        py::reinterpret_borrow<py::object>(PyExc_OSError)(py::int_(number), TextOf(text));
    PyErr_SetObject(py::type::of(error).ptr(), error.ptr());
}

void Raise(const ORQBasFailure& failure) {
    switch (failure.Kind()) {
        case ORQBasFailureKind::Usage:
            return Set(PyExc_ValueError, failure.what());
        case ORQBasFailureKind::Io:
            return RaiseSystemError(failure.Text());
        case ORQBasFailureKind::Damaged:
            return Set(damagedError, failure.what());
        case ORQBasFailureKind::Foreign:
            return Set(foreignError, failure.what());
        case ORQBasFailureKind::Busy:
            return Set(busyError, failure.what());
        case ORQBasFailureKind::Refused:
            break;
    }
    Set(refusedError, failure.what());
}

void Translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const ORQBasFailure& failure) {
        Raise(failure);
    } catch (const ORQExcImportError& error) {
        ErrorNumberOf(error.what()) != 0 ? RaiseSystemError(error.what())
                                         : Set(formatError, error.what());
    } catch (const ORQExcExportError& error) {
        ErrorNumberOf(error.what()) != 0 ? RaiseSystemError(error.what())
                                         : Set(formatError, error.what());
    } catch (ORQBasException& assertion) {
        Set(invariantError, assertion.AsString(ORQBasStringMode::Unicode).c_str());
    }
}

PyObject* Define(py::module_& module, const char* name, PyObject* base, const char* doc) {
    const std::string path = std::string("orqmodel.") + name;
    PyObject* const type = PyErr_NewExceptionWithDoc(path.c_str(), doc, base, nullptr);
    module.attr(name) = py::reinterpret_borrow<py::object>(type);
    return type;
}

}  // namespace

void DefineErrors(py::module_& module) {
    damagedError = Define(module, "DamagedError", PyExc_OSError,
                          "Stored bytes or rows are not what was written.");
    foreignError = Define(module, "ForeignError", PyExc_ValueError,
                          "Not a model database, or one of a newer format.");
    busyError = Define(module, "BusyError", PyExc_BlockingIOError,
                       "Another process or handle has the database open for writing.");
    refusedError =
        Define(module, "RefusedError", PyExc_RuntimeError,
               "The handle cannot go on after an earlier failure, or in a forked process.");
    invariantError = Define(module, "InvariantError", PyExc_AssertionError,
                            "An invariant of the library does not hold.");
    formatError = Define(module, "FormatError", PyExc_ValueError,
                         "A file of another program that cannot be imported or exported.");
    py::register_exception_translator(&Translate);
}

}  // namespace orqmodel
