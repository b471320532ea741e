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
using Within = ORQExcResultArray::Within;

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

/// (material, ply, section points, thickness, angle)
using LayerRow = std::tuple<std::string, std::string, int, double, double>;

void AddSection(Draft& draft, const std::string& name, const std::vector<LayerRow>& layers,
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

/// Where a stored field has the points of its elements.
Within WithinOf(const ORQObjMeshedField& field) {
    if (!field.HasPoints()) {
        return Within::Whole;
    }
    const int gridType = field.GetGridType();
    return gridType == ORQSimSchema::Field_IntegrationPoint ? Within::IntegrationPoints
           : gridType == ORQSimSchema::Field_ElementNodal   ? Within::Nodes
                                                            : Within::Faces;
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
            WithinOf(known) != array.within ||
            known.GetComponents().Size() != static_cast<int>(array.components.size())) {
            ORQBasThrowUsage("the step has another field \"" + array.name +
                             "\": of another place, or of other components, layers or points");
        }
        return known;
    }
    return ORQExcAddField(document, step.Position(), array);
}

/// The counts of values [layers][section points][members][points][components]; 0 for the layers,
/// section points or points that a field does not have.
struct Counts {
    int layers = 0;
    int sectionPoints = 0;
    int points = 0;
    int components = 0;
};

/// Throws ValueError for values that are not of the members and components.
Counts CountsOf(const ORQExcResultArray& array, py::ssize_t nMembers, const Doubles& values) {
    const bool hasPoints = array.within != Within::Whole;
    std::string wanted = array.hasLayers ? "[layers][section points]" : "";
    wanted += "[" + std::to_string(nMembers) + " members]";
    wanted += hasPoints ? "[points]" : "";
    wanted += "[" + std::to_string(array.components.size()) + " components]";
    std::string given;
    for (py::ssize_t i = 0; i < values.ndim(); ++i) {
        given += "[" + std::to_string(values.shape(i)) + "]";
    }
    const auto fail = [&] {
        throw py::value_error("values of field \"" + array.name + "\" are " + given + ", not " +
                              wanted);
    };
    const auto nComponents = static_cast<py::ssize_t>(array.components.size());
    if (values.ndim() != (array.hasLayers ? 2 : 0) + (hasPoints ? 3 : 2)) {
        fail();
    }
    std::vector<int> counts;
    for (py::ssize_t i = 0; i < values.ndim(); ++i) {
        const bool areMembers = i == (array.hasLayers ? 2 : 0);
        if (values.shape(i) > std::numeric_limits<int>::max() ||
            (values.shape(i) == 0 && !areMembers) || (areMembers && values.shape(i) != nMembers)) {
            fail();
        }
        counts.push_back(static_cast<int>(values.shape(i)));
    }
    if (values.shape(values.ndim() - 1) != nComponents) {
        fail();
    }
    return {array.hasLayers ? counts[0] : 0, array.hasLayers ? counts[1] : 0,
            hasPoints ? counts[counts.size() - 2] : 0, counts.back()};
}

/// Throws ValueError where elements have other nodes or sides than there are points.
void CheckPoints(ModelHandle& handle, const ORQExcResultArray& array, const ORQSimCSet& members,
                 int nPoints) {
    if (array.within != Within::Nodes && array.within != Within::Faces) {
        return;
    }
    const bool areNodes = array.within == Within::Nodes;
    for (const ORQExcModel::Block& block : handle.Model().Blocks()) {
        const int has =
            areNodes ? block.shape->nNodes : static_cast<int>(block.shape->sides.size());
        if (has == nPoints) {
            continue;
        }
        for (ORQSimCSetIterator i(members); !i.IsDone(); i.Next()) {
            if (block.elements.SeekMember(i.CurrentValue()) >= 0) {
                const int label =
                    handle.Labels(Kind::Element)[static_cast<std::size_t>(i.CurrentValue())];
                throw py::value_error("field \"" + array.name + "\" has " +
                                      std::to_string(nPoints) + " points, but element " +
                                      std::to_string(label) + " has " + std::to_string(has) +
                                      (areNodes ? " nodes" : " faces"));
            }
        }
    }
}

/// Throws ValueError where elements have fewer layers than there are values.
void CheckLayers(ModelHandle& handle, const ORQExcResultArray& array, const ORQSimCSet& members,
                 int nLayers) {
    const auto& sections = handle.Sections().Sections();
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const ORQSimCSet concerned = sections[i].elements.Intersection(members);
        if (concerned.IsEmpty()) {
            continue;
        }
        const auto has = static_cast<int>(handle.StackOf(static_cast<int>(i))->layers.size());
        if (has > 0 && has < nLayers) {
            const auto element = static_cast<std::size_t>(concerned[0]);
            throw py::value_error(
                "field \"" + array.name + "\" has " + std::to_string(nLayers) +
                " layers, but element " + std::to_string(handle.Labels(Kind::Element)[element]) +
                " has " + std::to_string(has) + ", of section \"" + sections[i].name + "\"");
        }
    }
}

/// Values as CountsOf has them; the members take no part in a field of the whole model.
void AddField(ModelHandle& handle, const std::string& stepName, double time,
              const ORQExcResultArray& array, const Ints& members, const Doubles& values) {
    const Counts counts = CountsOf(array, array.place == Place::Model ? 1 : members.size(), values);
    if (!std::isfinite(time)) {
        throw py::value_error("a time is a finite number");
    }
    InLibrary([&] {
        handle.RequireTransaction();
        const Kind kind = array.place == Place::Node ? Kind::Node : Kind::Element;
        ORQObjFieldView view;
        if (array.place != Place::Model) {
            view.members = handle.SetOf(kind, SpanOf(members));
        }
        if (array.hasLayers) {
            CheckLayers(handle, array, view.members, counts.layers);
            view.layers = {0, counts.layers - 1};
            view.sectionPoints = {0, counts.sectionPoints - 1};
        }
        if (array.within != Within::Whole) {
            CheckPoints(handle, array, view.members, counts.points);
            view.points = {0, counts.points - 1};
        }
        ORQSimTransaction transaction(handle.Database().ContextID());
        const ORQObjDocument document = handle.Document();
        const ORQObjStep step = StepNamed(document, stepName);
        const ORQObjMeshedField field = FieldNamed(document, step, array);
        field.WriteView(TimeOf(document, step, time), view, values.data());
        transaction.Commit();
        handle.Forget();
    });
}

}  // namespace

void DefineWriting(py::module_& module, HandleClass& handle) {
    py::class_<Draft> draft(module, "Draft");
    ForbidNew(draft);
    module.def("draft", [](const std::string& title, int dimension) {
        return std::make_unique<Draft>(title, dimension);
    });
    // Within the library, since a thread may be writing the mesh.
    draft
        .def("add_nodes",
             [](Draft& self, const Doubles& coordinates, const Ints& labels) {
                 InLibrary([&] { self.mesh.AddNodes(SpanOf(coordinates), SpanOf(labels)); });
             })
        .def("add_block",
             [](Draft& self, const std::string& name, const std::string& shape,
                const Ints& connectivity, const Ints& labels) {
                 InLibrary([&] {
                     self.mesh.AddBlock(name, shape, SpanOf(connectivity), SpanOf(labels));
                 });
             })
        .def("add_node_set",
             [](Draft& self, const std::string& name, const Ints& members) {
                 InLibrary([&] { self.mesh.AddNodeSet(name, Vector(members)); });
             })
        .def("add_element_set",
             [](Draft& self, const std::string& name, const Ints& members) {
                 InLibrary([&] { self.mesh.AddElementSet(name, Vector(members)); });
             })
        .def("add_surface",
             [](Draft& self, const std::string& name, const Ints& faces) {
                 InLibrary([&] { AddSurface(self, name, faces); });
             })
        .def("add_section",
             [](Draft& self, const std::string& name, const std::vector<LayerRow>& layers,
                const std::string& elementSet) {
                 InLibrary([&] { AddSection(self, name, layers, elementSet); });
             })
        .def("labels",
             [](Draft& self, Kind kind) {
                 const bool areNodes = kind == Kind::Node;
                 auto labels = InLibrary([&] {
                     const int count = areNodes ? self.mesh.NumNodes() : self.mesh.NumElements();
                     Buffer<int> buffer(static_cast<std::size_t>(count));
                     self.mesh.ReadLabels(
                         areNodes ? ORQObjLabelerType::Node : ORQObjLabelerType::Element, 0, count,
                         buffer.Span());
                     return buffer;
                 });
                 const auto count = static_cast<py::ssize_t>(labels.size);
                 return ToArray(std::move(labels), {count});
             })
        .def_property_readonly("dimension", [](Draft& self) { return self.mesh.Dimension(); });
    handle.def("begin", [](ModelHandle& self) { InLibrary([&] { self.Begin(); }); })
        .def("commit", [](ModelHandle& self) { InLibrary([&] { self.Commit(); }); })
        .def("undo", [](ModelHandle& self) { InLibrary([&] { self.Undo(); }); })
        .def("write", &Write)
        .def("add_field",
             [](ModelHandle& self, const std::string& step, double time, int place, int within,
                bool hasLayers, const std::string& name, const std::vector<std::string>& components,
                const Ints& members, const Doubles& values) {
                 CheckIndex("place", place, 3);
                 CheckIndex("points", within, 4);
                 AddField(self, step, time,
                          {static_cast<Place>(place),
                           name,
                           components,
                           {},
                           static_cast<Within>(within),
                           hasLayers},
                          members, values);
             });
}

}  // namespace orqmodel
