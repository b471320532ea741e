// Transactions, and what is written in them.
#include <cmath>
#include <limits>

#include "ModelHandle.h"
#include "ORQBasFailure.h"
#include "ORQExcAddField.h"
#include "ORQExcHeldMesh.h"
#include "ORQExcLayup.h"
#include "ORQExcMeshWriter.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"

namespace orqmodel {
namespace {

using Place = ORQExcResultArray::Place;

/// A mesh that is being put together, and its sections.
struct Draft {
    explicit Draft(const std::string& title, int dimension) : mesh(title, dimension) {}
    ORQExcHeldMesh mesh;
    ORQExcLayup layup;
};

void AddSurface(Draft& draft, const std::string& name, const Ints& faces) {
    if (faces.size() != 0 && (faces.ndim() != 2 || faces.shape(1) != 2)) {
        throw py::value_error("faces of a surface are rows of an element and a side");
    }
    std::vector<ORQExcMeshSource::Side> sides;
    const std::span<const int> numbers = SpanOf(faces);
    for (std::size_t i = 0; i < numbers.size(); i += 2) {
        sides.push_back({numbers[i], numbers[i + 1]});
    }
    draft.mesh.AddSurface(name, std::move(sides));
}

std::vector<int> Vector(const Ints& numbers) {
    const std::span<const int> span = SpanOf(numbers);
    return {span.begin(), span.end()};
}

/// The place of a named object in a list, where it is added when it is not there.
template <class Object>
int PlaceOf(std::vector<Object>& objects, const std::string& name) {
    if (name.empty()) {
        return ORQExcLayup::kNone;
    }
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (objects[i].name == name) {
            return static_cast<int>(i);
        }
    }
    objects.push_back({name, static_cast<int>(objects.size()) + 1});
    return static_cast<int>(objects.size()) - 1;
}

/// Layers are (material, ply, section points, thickness, angle).
void AddSection(
    Draft& draft, const std::string& name,
    const std::vector<std::tuple<std::string, std::string, int, double, double>>& layers,
    const std::string& elementSet) {
    for (const ORQExcLayup::Section& known : draft.layup.sections) {
        if (known.name == name) {
            throw py::value_error("there is a section \"" + name + "\" already");
        }
    }
    ORQExcLayup::Section section{
        name, static_cast<int>(draft.layup.sections.size()) + 1, {}, {}, {}};
    for (const auto& [material, ply, points, thickness, angle] : layers) {
        if (points < 1 || !std::isfinite(thickness) || !std::isfinite(angle)) {
            throw py::value_error("layer " + std::to_string(section.layers.size()) +
                                  " of section \"" + name +
                                  "\": it needs a section point, a thickness and an angle");
        }
        section.layers.push_back({PlaceOf(draft.layup.materials, material), ORQExcLayup::kNone,
                                  PlaceOf(draft.layup.plies, ply), points, thickness, angle});
    }
    draft.layup.assignments.push_back({elementSet, static_cast<int>(draft.layup.sections.size())});
    draft.layup.sections.push_back(std::move(section));
}

void Write(ModelHandle& handle, Draft& draft, const py::object& progress) {
    InLibrary([&] {
        handle.RequireTransaction();
        if (handle.Model().NumNodes() > 0) {
            ORQBasThrowUsage("the model has a mesh already: one is written as a whole");
        }
        draft.mesh.CheckLabels(handle.Database().Path());
        if (!draft.layup.sections.empty()) {
            draft.mesh.SetSections(draft.layup);
        }
        ORQExcMeshWriterOptions options;
        options.progress = ProgressTo(progress);
        ORQExcReport report;
        // The handle has one; this joins it, and is undone alone when the writing fails.
        ORQSimTransaction transaction(handle.Database().ContextID());
        ORQExcWriteMesh(draft.mesh, handle.Database(), transaction, options, report);
        transaction.Commit();
        handle.Forget();
    });
}

// --- Fields --------------------------------------------------------------------------------------

ORQObjStep StepNamed(const ORQObjDocument& document, const std::string& name) {
    const ORQSimVector steps = document.GetModel().GetVector(ORQSimSchema::Model_stepSequence);
    for (auto i = steps.Begin(); i.NotDone(); ++i) {
        if (ORQObjStep(*i).GetName() == ORQString(name)) {
            return ORQObjStep(*i);
        }
    }
    return ORQObjStep(ORQObjStepBuilder(document).AddStep(name, ORQSimSchema::Step_General));
}

/// The time of a step, added behind the others when it is not there.
ORQSimCSetID TimeOf(const ORQObjDocument& document, const ORQObjStep& step, double time) {
    const std::vector<double> known = step.ReadTimes();
    const ORQSimCSet times = step.GetTimes();
    for (std::size_t i = 0; i < known.size(); ++i) {
        if (known[i] == time) {
            const int member = times[static_cast<int>(i)];
            return ORQSimCollection(times.CollectionID()).CreateCSet(&member, 1, true);
        }
    }
    return ORQObjStepBuilder(document).AddTimes(step.Position(), {&time, 1});
}

ORQObjMeshedField FieldNamed(const ORQObjDocument& document, const ORQObjStep& step,
                             const ORQExcResultArray& array) {
    for (const ORQObjMeshedField& known : step.GetFieldResults()) {
        if (known.GetName() != ORQString(array.name)) {
            continue;
        }
        const auto collection = array.place == Place::Model ? ORQSimCollectionID()
                                : array.place == Place::Node
                                    ? ORQExcModel(document).Nodes().CollectionID()
                                    : ORQExcModel(document).Elements().CollectionID();
        if (known.GetMemberCollection() != collection || known.HasLayers() != array.hasLayers ||
            known.HasPoints() ||
            known.GetComponents().Size() != static_cast<int>(array.components.size())) {
            ORQBasThrowUsage("the step has another field \"" + array.name +
                             "\": of another place, or of other components or layers");
        }
        return known;
    }
    return ORQExcAddField(document, step.Position(), array);
}

/// Values [layers][section points][members][components], without the first two for a field without
/// layers; the members take no part in a field of the whole model.
void AddField(ModelHandle& handle, const std::string& stepName, double time, Place place,
              const std::string& name, const std::vector<std::string>& components,
              const Ints& members, const Doubles& values) {
    const bool hasLayers = values.ndim() == 4;
    const auto nMembers = place == Place::Model ? 1 : members.size();
    const auto nComponents = static_cast<py::ssize_t>(components.size());
    if ((values.ndim() != 2 && !hasLayers) || values.shape(values.ndim() - 2) != nMembers ||
        values.shape(values.ndim() - 1) != nComponents || nComponents == 0) {
        throw py::value_error("values of field \"" + name + "\" are not [" +
                              std::to_string(nMembers) + " members][" +
                              std::to_string(nComponents) + " components]");
    }
    if (!std::isfinite(time)) {
        throw py::value_error("a time is a finite number");
    }
    InLibrary([&] {
        handle.RequireTransaction();
        const Kind kind = place == Place::Node ? Kind::Node : Kind::Element;
        ORQObjFieldView view;
        if (place != Place::Model) {
            view.members = handle.SetOf(kind, SpanOf(members));
        }
        if (hasLayers) {
            view.layers = {0, static_cast<int>(values.shape(0)) - 1};
            view.sectionPoints = {0, static_cast<int>(values.shape(1)) - 1};
        }
        ORQSimTransaction transaction(handle.Database().ContextID());
        const ORQObjDocument document = handle.Document();
        const ORQObjStep step = StepNamed(document, stepName);
        const ORQObjMeshedField field =
            FieldNamed(document, step,
                       {place, name, components, {}, ORQExcResultArray::Within::Whole, hasLayers});
        field.WriteView(TimeOf(document, step, time), view, values.data());
        transaction.Commit();
        handle.Forget();
    });
}

}  // namespace

void DefineWriting(py::module_& module, HandleClass& handle) {
    py::class_<Draft>(module, "Draft")
        .def(py::init<const std::string&, int>())
        .def("add_nodes",
             [](Draft& self, const Doubles& coordinates, const Ints& labels) {
                 self.mesh.AddNodes(SpanOf(coordinates), SpanOf(labels));
             })
        .def("add_block",
             [](Draft& self, const std::string& name, const std::string& shape,
                const Ints& connectivity, const Ints& labels) {
                 self.mesh.AddBlock(name, shape, SpanOf(connectivity), SpanOf(labels));
             })
        .def("add_node_set",
             [](Draft& self, const std::string& name, const Ints& members) {
                 self.mesh.AddNodeSet(name, Vector(members));
             })
        .def("add_element_set",
             [](Draft& self, const std::string& name, const Ints& members) {
                 self.mesh.AddElementSet(name, Vector(members));
             })
        .def("add_surface", &AddSurface)
        .def("add_section", &AddSection)
        .def("labels",
             [](Draft& self, Kind kind) {
                 const bool areNodes = kind == Kind::Node;
                 const int count = areNodes ? self.mesh.NumNodes() : self.mesh.NumElements();
                 Buffer<int> labels(static_cast<std::size_t>(count));
                 self.mesh.ReadLabels(
                     areNodes ? ORQObjLabelerType::Node : ORQObjLabelerType::Element, 0, count,
                     labels.Span());
                 return ToArray(std::move(labels), {count});
             })
        .def_property_readonly("dimension", [](Draft& self) { return self.mesh.Dimension(); });
    handle.def("begin", [](ModelHandle& self) { InLibrary([&] { self.Begin(); }); })
        .def("commit", [](ModelHandle& self) { InLibrary([&] { self.Commit(); }); })
        .def("undo", [](ModelHandle& self) { InLibrary([&] { self.Undo(); }); })
        .def("write", &Write)
        .def("add_field", [](ModelHandle& self, const std::string& step, double time, int place,
                             const std::string& name, const std::vector<std::string>& components,
                             const Ints& members, const Doubles& values) {
            CheckIndex("place", place, 3);
            AddField(self, step, time, static_cast<Place>(place), name, components, members,
                     values);
        });
}

}  // namespace orqmodel
