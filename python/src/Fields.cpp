// Results: steps, times, and fields over them.
#include <algorithm>
#include <optional>

#include "ModelHandle.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;
using Place = ORQExcResultArray::Place;

const Field& FieldAt(ModelHandle& handle, int field) {
    const auto& fields = handle.Results().Fields();
    CheckIndex("field", field, static_cast<std::int64_t>(fields.size()));
    return fields[static_cast<std::size_t>(field)];
}

const char* NameOf(Place place) {
    return place == Place::Node ? "node" : place == Place::Element ? "element" : "model";
}

/// (name, place, identifier, components, whether it has points, layers) of every field.
py::list Fields(ModelHandle& handle) {
    const auto fields = InLibrary([&] { return handle.Results().Fields(); });
    py::list list;
    for (const Field& field : fields) {
        py::list components;
        for (const ORQExcResults::Component& component : field.components) {
            components.append(component.label);
        }
        list.append(py::make_tuple(field.name, NameOf(field.place), field.identifier,
                                   py::tuple(components), field.hasPoints, field.hasLayers));
    }
    return list;
}

std::vector<std::string> Steps(ModelHandle& handle) {
    return InLibrary([&] { return handle.Results().Steps(); });
}

/// (step, time) of every frame.
py::list Frames(ModelHandle& handle) {
    const auto frames = InLibrary([&] { return handle.Results().Frames(); });
    py::list list;
    for (const ORQExcResults::Frame& frame : frames) {
        list.append(py::make_tuple(frame.step, frame.time));
    }
    return list;
}

/// The frames at which the field has values.
std::vector<int> FramesOf(ModelHandle& handle, int field) {
    return InLibrary([&] {
        const Field& at = FieldAt(handle, field);
        const auto& frames = handle.Results().Frames();
        std::vector<ORQSimCSet> times;
        for (const ORQObjMeshedField& stored : at.ofStep) {
            times.push_back(stored.Position().IsNull() ? ORQSimCSet() : stored.GetTimes());
        }
        std::vector<int> found;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            if (times[static_cast<std::size_t>(frames[i].step)].SeekMember(frames[i].member) >= 0) {
                found.push_back(static_cast<int>(i));
            }
        }
        return found;
    });
}

ORQSimCSet MembersOf(ModelHandle& handle, const Field& field) {
    return field.place == Place::Model ? ORQSimCSet() : handle.Results().MembersOf(field);
}

py::array_t<int> FieldMembers(ModelHandle& handle, int field) {
    auto values = InLibrary([&] {
        const ORQSimCSet members = MembersOf(handle, FieldAt(handle, field));
        Buffer<int> buffer(static_cast<std::size_t>(members.Size()));
        members.OrderedMembers(buffer.values.get());
        return buffer;
    });
    const auto size = static_cast<py::ssize_t>(values.size);
    return ToArray(std::move(values), {size});
}

/// The most layers, section points and points that an element has.
std::tuple<int, int, int> Extents(ModelHandle& handle, int field) {
    return InLibrary([&] {
        std::tuple<int, int, int> most{0, 0, 0};
        const Field& at = FieldAt(handle, field);
        if (!at.HasSpots()) {
            return most;
        }
        for (const ORQObjFieldView& view : handle.Results().ViewsOf(at)) {
            most = {std::max(std::get<0>(most), view.layers.Last() + 1),
                    std::max(std::get<1>(most), view.sectionPoints.Last() + 1),
                    std::max(std::get<2>(most), view.points.Last() + 1)};
        }
        return most;
    });
}

void CheckSpot(const Field& field, const ORQExcSpot& spot) {
    const auto check = [&](const char* what, bool has, int number) {
        if (number < -1 || (!has && number >= 0)) {
            throw py::value_error("field \"" + field.name + "\" has no " + what + " " +
                                  std::to_string(number));
        }
    };
    check("layer", field.hasLayers, spot.layer);
    check("section point", field.hasLayers, spot.sectionPoint);
    check("point", field.hasPoints, spot.point);
    if (field.hasLayers && (spot.layer < 0 || spot.sectionPoint < 0)) {
        throw py::value_error("field \"" + field.name +
                              "\" has values in layers: name one of them, and its point, by "
                              "at(layer=..., point=...)");
    }
}

/// A view of a field without points and layers.
ModelHandle::View ViewOf(ModelHandle& handle, const Field& field, int frame,
                         const ORQSimCSet& members) {
    const ORQExcResults::Frame& at = handle.Results().Frames()[static_cast<std::size_t>(frame)];
    const ORQObjMeshedField& stored = field.ofStep[static_cast<std::size_t>(at.step)];
    const ORQSimDistribution values(stored.GetDistribution());
    if (values.IsNull() || field.hasPoints || field.hasLayers || field.place == Place::Model ||
        values.RangeType().ScalarType() != ORQSimScalarDouble) {
        return {};
    }
    return handle.ViewOf(values, {ORQSimCollection(values.Grid().Collection(0))
                                      .CreateVolatileCSetStrided(at.member, 1, 1, 1),
                                  members, stored.GetComponents()});
}

/// Values [members][components]; of all members that have some where none are named.
py::array_t<double> ReadField(ModelHandle& handle, int field, int frame,
                              const std::optional<Ints>& members, const ORQExcSpot& spot) {
    std::size_t nRows = 0;
    std::size_t nComponents = 0;
    auto values = InLibrary([&] {
        const ORQExcResults& results = handle.Results();
        CheckIndex("frame", frame, static_cast<std::int64_t>(results.Frames().size()));
        Field at = FieldAt(handle, field);
        CheckSpot(at, spot);
        at.spot = spot;
        const Kind kind = at.place == Place::Node ? Kind::Node : Kind::Element;
        const ORQSimCSet of = at.place == Place::Model ? ORQSimCSet()
                              : members                ? handle.SetOf(kind, SpanOf(*members))
                                                       : MembersOf(handle, FieldAt(handle, field));
        nRows = at.place == Place::Model ? 1 : static_cast<std::size_t>(of.Size());
        nComponents = at.components.size();
        Values<double> all{ViewOf(handle, at, frame, of)};
        if (all.view.mapping.IsNull()) {
            all.read.emplace(nRows * nComponents);
            results.Read(at, frame, of, all.read->Span());
        }
        return all;
    });
    return ToArray(std::move(values),
                   {static_cast<py::ssize_t>(nRows), static_cast<py::ssize_t>(nComponents)});
}

}  // namespace

void DefineFields(HandleClass& handle) {
    handle.def("steps", &Steps)
        .def("frames", &Frames)
        .def("fields", &Fields)
        .def("frames_of", &FramesOf)
        .def("field_members", &FieldMembers)
        .def("field_extents", &Extents)
        .def("read_field",
             [](ModelHandle& self, int field, int frame, const std::optional<Ints>& members,
                int layer, int sectionPoint, int point) {
                 return ReadField(self, field, frame, members, {layer, sectionPoint, point});
             });
}

}  // namespace orqmodel
