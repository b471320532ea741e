// Sections, their layers, and materials.
#include "ModelHandle.h"
#include "ORQExcMaterials.h"

namespace orqmodel {
namespace {

using Sections = ORQExcSections;

py::object ToPython(const Sections::Value& value) {
    if (value.numbers.empty()) {
        return py::none();
    }
    return value.numbers.size() == 1 ? py::object(py::float_(value.numbers[0]))
                                     : py::object(ToArray(std::span<const double>(value.numbers)));
}

py::object ToPython(const Sections::Value& value, std::size_t element) {
    return value.numbers.empty() ? py::object(py::none())
                                 : py::object(py::float_(value.At(element)));
}

/// (material, orientation, ply, section points, thickness, angle, nominal angle), where `show` says
/// how a value is shown.
template <class Show>
py::list Layers(const Sections::Stack& stack, const Show& show) {
    py::list list;
    for (const Sections::Layer& layer : stack.layers) {
        list.append(py::make_tuple(layer.material, layer.orientation, layer.ply,
                                   layer.sectionPoints, show(layer.thickness), show(layer.angle),
                                   layer.nominalAngle));
    }
    return list;
}

py::list All(ModelHandle& handle) {
    const auto sections = InLibrary([&] { return handle.Sections().Sections(); });
    py::list list;
    for (const Sections::Section& section : sections) {
        list.append(py::make_tuple(section.name, section.number, section.elements.Size()));
    }
    return list;
}

py::array_t<int> ElementsOf(ModelHandle& handle, int section) {
    auto values = InLibrary([&] {
        const auto& sections = handle.Sections().Sections();
        CheckIndex("section", section, static_cast<std::int64_t>(sections.size()));
        const ORQSimCSet& elements = sections[static_cast<std::size_t>(section)].elements;
        Buffer<int> buffer(static_cast<std::size_t>(elements.Size()));
        elements.OrderedMembers(buffer.values.get());
        return buffer;
    });
    const auto size = static_cast<py::ssize_t>(values.size);
    return ToArray(std::move(values), {size});
}

py::list LayersOf(ModelHandle& handle, int section) {
    const auto stack = InLibrary([&] { return handle.StackOf(section); });
    return Layers(*stack, [](const Sections::Value& value) { return ToPython(value); });
}

/// The layers of the section that governs an element, with the values that the element has.
py::list LayersAt(ModelHandle& handle, int element) {
    int among = -1;
    const auto stack = InLibrary([&]() -> std::shared_ptr<const Sections::Stack> {
        CheckIndex("element", element, handle.Model().NumElements());
        const int place = handle.SectionOf(element);
        if (place < 0) {
            return nullptr;
        }
        const auto& section = handle.Sections().Sections()[static_cast<std::size_t>(place)];
        among = section.elements.SeekMember(element);
        return handle.StackOf(place);
    });
    if (stack == nullptr) {
        return py::list();
    }
    return Layers(*stack, [among](const Sections::Value& value) {
        return ToPython(value, static_cast<std::size_t>(among));
    });
}

py::list Materials(ModelHandle& handle) {
    const auto materials = InLibrary([&] { return ORQExcMaterials(handle.Document()); });
    py::list list;
    for (const ORQExcMaterials::Material& material : materials.Materials()) {
        list.append(py::make_tuple(material.name, material.number, material.kind));
    }
    return list;
}

}  // namespace

void DefineSections(HandleClass& handle) {
    handle.def("sections", &All)
        .def("section_elements", &ElementsOf)
        .def("layers", &LayersOf)
        .def("layers_at", &LayersAt)
        .def("section_of",
             [](ModelHandle& self, int element) {
                 return InLibrary([&] {
                     CheckIndex("element", element, self.Model().NumElements());
                     return self.SectionOf(element);
                 });
             })
        .def("materials", &Materials);
}

}  // namespace orqmodel
