// A table as a stream of Arrow with one batch, whose buffers are the arrays of Python themselves.
#include <cerrno>
#include <memory>
#include <new>

#include "ArrowInterface.h"
#include "ModelHandle.h"

namespace orqmodel {
namespace {

/// A column; a struct of columns; or what a list column has in its rows.
struct Node {
    std::string name;
    std::string format;
    std::int64_t length = 0;
    std::int64_t nullCount = 0;
    std::vector<const void*> buffers;
    std::vector<py::object> owners;  // of the buffers
    std::vector<std::uint8_t> valid;
    std::vector<std::shared_ptr<const Node>> children;
};
using NodePtr = std::shared_ptr<const Node>;

/// A consumer may release on any thread, without the interpreter's lock. After the interpreter's end
/// its objects are nobody's.
NodePtr Share(std::unique_ptr<Node> node) {
    return {node.release(), [](const Node* ended) {
                if (Py_IsInitialized() != 0) {
                    const py::gil_scoped_acquire acquired;
                    delete ended;
                }
            }};
}

/// What an exported structure points at. Children have their own, so that they can be moved out.
template <class Structure>
struct Export {
    explicit Export(NodePtr of)
        : node(std::move(of)), children(node->children.size()), places(node->children.size()) {
        for (std::size_t i = 0; i < children.size(); ++i) {
            children[i] = {};
            places[i] = &children[i];
        }
    }
    NodePtr node;
    std::vector<Structure> children;
    std::vector<Structure*> places;
    std::vector<const void*> buffers;
};

template <class Structure>
void Release(Structure* structure) {
    const std::unique_ptr<Export<Structure>> held(
        static_cast<Export<Structure>*>(structure->privateData));
    for (Structure* const child : held->places) {
        if (child->release != nullptr) {
            child->release(child);
        }
    }
    structure->release = nullptr;
}

void ExportNode(const NodePtr& node, Export<ArrowSchema>& held, ArrowSchema& out) {
    out = {};
    out.format = node->format.c_str();
    out.name = node->name.c_str();
    out.flags = kArrowNullable;
    out.children = held.places.data();
}

void ExportNode(const NodePtr& node, Export<ArrowArray>& held, ArrowArray& out) {
    held.buffers = node->buffers;
    out = {};
    out.length = node->length;
    out.nullCount = node->nullCount;
    out.nBuffers = static_cast<std::int64_t>(held.buffers.size());
    out.buffers = held.buffers.data();
    out.children = held.places.data();
}

/// On bad_alloc what was made of it is released.
template <class Structure>
void ExportTree(const NodePtr& node, Structure& out) {
    auto held = std::make_unique<Export<Structure>>(node);
    ExportNode(node, *held, out);
    out.nChildren = static_cast<std::int64_t>(held->places.size());
    out.privateData = held.get();
    out.release = &Release<Structure>;
    const auto& places = held.release()->places;
    try {
        for (std::size_t i = 0; i < places.size(); ++i) {
            ExportTree(node->children[i], *places[i]);
        }
    } catch (...) {
        out.release(&out);
        throw;
    }
}

// --- The stream ----------------------------------------------------------------------------------

struct Stream {
    NodePtr table;
    bool isDone = false;
};

template <class Structure>
int Give(ArrowArrayStream* stream, Structure* out) {
    try {
        ExportTree(static_cast<Stream*>(stream->privateData)->table, *out);
        return 0;
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

int GiveNext(ArrowArrayStream* stream, ArrowArray* out) {
    auto* const state = static_cast<Stream*>(stream->privateData);
    if (state->isDone) {
        *out = {};
        return 0;
    }
    const int error = Give(stream, out);
    state->isDone = error == 0;
    return error;
}

void ReleaseStream(ArrowArrayStream* stream) {
    delete static_cast<Stream*>(stream->privateData);
    stream->release = nullptr;
}

constexpr const char* kCapsuleName = "arrow_array_stream";

/// Ends what a stream holds that nobody took, with its capsule.
void EndCapsule(PyObject* capsule) {
    auto* const stream =
        static_cast<ArrowArrayStream*>(PyCapsule_GetPointer(capsule, kCapsuleName));
    if (stream->release != nullptr) {
        stream->release(stream);
    }
    delete stream;
}

// --- Columns -------------------------------------------------------------------------------------

const char* FormatOf(const py::array& values) {
    const py::dtype type = values.dtype();
    for (const auto& [kind, size, format] :
         {std::tuple('f', 8, "g"), std::tuple('i', 4, "i"), std::tuple('i', 8, "l")}) {
        if (type.kind() == kind && type.itemsize() == size) {
            return format;
        }
    }
    throw py::type_error("a column of Arrow is not made of such values");
}

void CheckOffsets(const Ints& offsets, py::ssize_t nValues) {
    const std::span<const int> all = SpanOf(offsets);
    bool isRising =
        offsets.ndim() == 1 && !all.empty() && all.front() == 0 && all.back() == nValues;
    for (std::size_t i = 1; isRising && i < all.size(); ++i) {
        isRising = all[i - 1] <= all[i];
    }
    if (!isRising) {
        throw py::value_error("offsets of a column do not rise from 0 to the number of values");
    }
}

void SetValid(Node& node, const py::array_t<bool, py::array::c_style>& valid) {
    if (valid.ndim() != 1 || valid.size() != node.length) {
        throw py::value_error("a column and the marks of its valid rows differ in length");
    }
    node.valid.assign(static_cast<std::size_t>(node.length + 7) / 8, 0);
    for (py::ssize_t i = 0; i < valid.size(); ++i) {
        const auto bit = static_cast<unsigned>(valid.data()[i] ? 1 : 0) << (i % 8);
        node.valid[static_cast<std::size_t>(i / 8)] |= static_cast<std::uint8_t>(bit);
        node.nullCount += valid.data()[i] ? 0 : 1;
    }
    node.buffers[0] = node.valid.data();
}

std::unique_ptr<Node> PlainNode(const std::string& name, const py::array& values) {
    auto node = std::make_unique<Node>();
    node->name = name;
    node->format = FormatOf(values);
    node->length = values.size();
    node->buffers = {nullptr, values.data()};
    node->owners = {values};
    return node;
}

/// A column of numbers; with offsets of lists of them or, of bytes, of texts.
std::unique_ptr<Node> ColumnNode(const std::string& name, const py::object& given,
                                 const std::optional<Ints>& offsets) {
    const py::array values(given);
    if (values.ndim() != 1 || (values.flags() & py::array::c_style) == 0) {
        throw py::value_error("a column is an array of one dimension, in one piece");
    }
    if (!offsets) {
        return PlainNode(name, values);
    }
    CheckOffsets(*offsets, values.size());
    auto node = std::make_unique<Node>();
    node->name = name;
    node->length = offsets->size() - 1;
    node->owners = {*offsets};
    node->buffers = {nullptr, offsets->data()};
    if (values.dtype().kind() == 'u' && values.itemsize() == 1) {
        node->format = "u";
        node->buffers.push_back(values.data());
        node->owners.push_back(values);
    } else {
        node->format = "+l";
        node->children = {Share(PlainNode("item", values))};
    }
    return node;
}

using Column = std::tuple<std::string, py::object, std::optional<Ints>,
                          std::optional<py::array_t<bool, py::array::c_style>>>;

/// A capsule by the PyCapsule protocol, of columns (name, values, offsets, which rows are valid) of
/// `length` rows.
py::capsule ArrowStreamOf(std::int64_t length, const std::vector<Column>& columns) {
    auto table = std::make_unique<Node>();
    table->format = "+s";
    table->length = length;
    table->buffers = {nullptr};
    for (const auto& [name, values, offsets, valid] : columns) {
        auto column = ColumnNode(name, values, offsets);
        if (column->length != length) {
            throw py::value_error("column \"" + name + "\" has " + std::to_string(column->length) +
                                  " rows of " + std::to_string(length));
        }
        if (valid) {
            SetValid(*column, *valid);
        }
        table->children.push_back(Share(std::move(column)));
    }
    auto state = std::make_unique<Stream>();
    state->table = Share(std::move(table));
    auto stream = std::make_unique<ArrowArrayStream>(ArrowArrayStream{
        &Give<ArrowSchema>, &GiveNext, [](ArrowArrayStream*) -> const char* { return nullptr; },
        &ReleaseStream, state.get()});
    PyObject* const capsule = PyCapsule_New(stream.get(), kCapsuleName, &EndCapsule);
    if (capsule == nullptr) {
        throw py::error_already_set();
    }
    state.release();
    stream.release();
    return py::reinterpret_steal<py::capsule>(capsule);
}

}  // namespace

void DefineArrow(py::module_& module) {
    module.def("arrow_stream", &ArrowStreamOf);
}

}  // namespace orqmodel
