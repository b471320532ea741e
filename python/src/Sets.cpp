// Sets of nodes and elements, and surfaces.
#include "ModelHandle.h"

namespace orqmodel {
namespace {

const std::vector<ORQExcModel::Set>& SetsOf(ModelHandle& handle, Kind kind) {
    return kind == Kind::Node ? handle.Model().NodeSets() : handle.Model().ElementSets();
}

/// (name, number, members) of every set.
py::list Sets(ModelHandle& handle, Kind kind) {
    const auto sets = InLibrary([&] { return SetsOf(handle, kind); });
    py::list list;
    for (const ORQExcModel::Set& set : sets) {
        list.append(py::make_tuple(set.name, set.number, set.members.Size()));
    }
    return list;
}

py::array_t<int> Members(ModelHandle& handle, Kind kind, int set) {
    auto values = InLibrary([&] {
        const auto& sets = SetsOf(handle, kind);
        CheckIndex("set", set, static_cast<std::int64_t>(sets.size()));
        const ORQSimCSet& members = sets[static_cast<std::size_t>(set)].members;
        Buffer<int> buffer(static_cast<std::size_t>(members.Size()));
        members.OrderedMembers(buffer.values.get());
        return buffer;
    });
    const auto size = static_cast<py::ssize_t>(values.size);
    return ToArray(std::move(values), {size});
}

/// (name, number, whether it is analytical, faces [n][element, side]) of every surface.
py::list Surfaces(ModelHandle& handle) {
    const std::vector<ORQExcModel::Surface> surfaces =
        InLibrary([&] { return handle.Model().Surfaces(); });
    py::list list;
    for (const ORQExcModel::Surface& surface : surfaces) {
        Buffer<int> faces(2 * surface.faces.size());
        for (std::size_t i = 0; i < surface.faces.size(); ++i) {
            faces.values[2 * i] = surface.faces[i].element;
            faces.values[2 * i + 1] = surface.faces[i].side;
        }
        list.append(py::make_tuple(
            surface.name, surface.number, surface.isAnalytical,
            ToArray(std::move(faces), {static_cast<py::ssize_t>(surface.faces.size()), 2})));
    }
    return list;
}

}  // namespace

void DefineSets(HandleClass& handle) {
    handle.def("sets", &Sets).def("members", &Members).def("surfaces", &Surfaces);
}

}  // namespace orqmodel
