// Nodes, blocks and elements.
#include <algorithm>

#include "ModelHandle.h"
#include "ORQExcMeshWriter.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimSchema.h"
#include "ORQSrvNodalCoordinates.h"

namespace orqmodel {
namespace {

void CheckRange(const char* what, int begin, int end, int count) {
    if (begin < 0 || begin > end || end > count) {
        throw py::index_error(std::string(what) + " [" + std::to_string(begin) + ", " +
                              std::to_string(end) + ") are not within [0, " +
                              std::to_string(count) + ")");
    }
}

py::ssize_t Size(int count) {
    return count;
}

// A transfer moves at most 2 GiB: so many nodes of three doubles are 1.5 GiB.
constexpr int kNodesAtOnce = 1 << 26;

ORQSimCSet Slice(const ORQSimCSet& all, int begin, int end) {
    return ORQSimCollection(all.CollectionID()).CreateVolatileCSetStrided(begin, end - begin, 1, 1);
}

ModelHandle::View ViewOfCoordinates(ModelHandle& handle, int begin, int end) {
    const ORQExcModel& model = handle.Model();
    if (begin == end || model.Dimension() == 0) {
        return {};
    }
    const ORQSimPosition coordinates = ORQObjMesh(handle.Document().GetMesh()).GetCoordinates();
    return handle.ViewOf(ORQSimDistribution(coordinates.GetDistribution()),
                         {Slice(model.Nodes(), begin, end),
                          ORQSrvNodalCoordinates(coordinates, kNodesPerChunk).Components()});
}

/// Nodes of elements that follow each other, all of which exist.
ModelHandle::View ViewOfConnectivity(ModelHandle& handle, const ORQExcModel::Block& block,
                                     int begin, int end) {
    const ORQSimPosition mesh = handle.Document().GetMesh();
    const ORQSimCollection places(
        mesh.GetPosition(ORQSimSchema::Mesh_elementNodePlaces).GetCollection());
    const ORQSimDistribution rows(
        ORQObjMesh(mesh).GetConnectivity().DSet().GetRelationalDistributionID());
    const bool isRun = begin < end &&
                       block.elements[end - 1] - block.elements[begin] == end - 1 - begin &&
                       block.elements.IsAscending();
    if (!isRun || places.IsNull() || rows.IsNull() ||
        rows.RangeType().ScalarType() != ORQSimScalarInt) {
        return {};
    }
    const int first = block.elements[begin];
    ModelHandle::View view =
        handle.ViewOf(rows, {Slice(block.elements, first, first + end - begin),
                             places.CreateVolatileCSetStrided(0, block.shape->nNodes, 1, 1)});
    const std::span nodes(static_cast<const int*>(view.mapping.Data()),
                          static_cast<std::size_t>(view.mapping.Size()) / sizeof(int));
    const int nNodes = handle.Model().NumNodes();
    // Reading says what is wrong with such a one.
    const bool isSound =
        std::ranges::all_of(nodes, [nNodes](int node) { return node >= 0 && node < nNodes; });
    return isSound ? view : ModelHandle::View();
}

py::array_t<double> Coordinates(ModelHandle& handle, int begin, int end) {
    int dimension = 0;
    auto values = InLibrary([&] {
        const ORQExcModel& model = handle.Model();
        CheckRange("nodes", begin, end, model.NumNodes());
        dimension = model.Dimension();
        Values<double> all{ViewOfCoordinates(handle, begin, end)};
        if (all.view.mapping.IsNull()) {
            const auto width = static_cast<std::size_t>(dimension);
            all.read.emplace(static_cast<std::size_t>(end - begin) * width);
            // One transfer moves less than 2 GiB.
            for (int from = begin; from < end; from += std::min(kNodesAtOnce, end - from)) {
                const int to = from + std::min(kNodesAtOnce, end - from);
                model.ReadCoordinates(
                    from, to,
                    all.read->Span().subspan(static_cast<std::size_t>(from - begin) * width,
                                             static_cast<std::size_t>(to - from) * width));
            }
        }
        return all;
    });
    return ToArray(std::move(values), {Size(end - begin), Size(dimension)});
}

py::array_t<double> CoordinatesOf(ModelHandle& handle, const Ints& nodes) {
    const std::span<const int> ordinals = SpanOf(nodes);
    int dimension = 0;
    auto values = InLibrary([&] {
        const ORQExcModel& model = handle.Model();
        dimension = model.Dimension();
        Buffer<double> buffer(ordinals.size() * static_cast<std::size_t>(dimension));
        model.ReadCoordinates(handle.SetOf(Kind::Node, ordinals), buffer.Span());
        return buffer;
    });
    return ToArray(std::move(values), {nodes.size(), Size(dimension)});
}

const ORQExcModel::Block& BlockAt(ModelHandle& handle, int block) {
    const auto& blocks = handle.Model().Blocks();
    CheckIndex("block", block, static_cast<std::int64_t>(blocks.size()));
    return blocks[static_cast<std::size_t>(block)];
}

/// (name, number, shape, elements, type of VTK, order of VTK as in ORQExcShape) of every block.
py::list Blocks(ModelHandle& handle) {
    const auto blocks = InLibrary([&] { return handle.Model().Blocks(); });
    py::list list;
    for (const ORQExcModel::Block& block : blocks) {
        list.append(py::make_tuple(block.name, block.number, block.shape->name,
                                   block.elements.Size(), block.shape->vtkType,
                                   block.shape->vtkOrder));
    }
    return list;
}

py::array_t<int> Connectivity(ModelHandle& handle, int block, int begin, int end) {
    int nNodes = 0;
    auto values = InLibrary([&] {
        const ORQExcModel::Block& at = BlockAt(handle, block);
        CheckRange("elements", begin, end, at.elements.Size());
        nNodes = at.shape->nNodes;
        Values<int> all{ViewOfConnectivity(handle, at, begin, end)};
        if (all.view.mapping.IsNull()) {
            all.read.emplace(static_cast<std::size_t>(end - begin) *
                             static_cast<std::size_t>(nNodes));
            handle.Model().ReadConnectivity(at, begin, end, all.read->Span());
        }
        return all;
    });
    return ToArray(std::move(values), {Size(end - begin), Size(nNodes)});
}

py::array_t<int> BlockElements(ModelHandle& handle, int block) {
    auto values = InLibrary([&] {
        const ORQSimCSet& elements = BlockAt(handle, block).elements;
        Buffer<int> buffer(static_cast<std::size_t>(elements.Size()));
        elements.OrderedMembers(buffer.values.get());
        return buffer;
    });
    const auto size = static_cast<py::ssize_t>(values.size);
    return ToArray(std::move(values), {size});
}

py::tuple Attributes(ModelHandle& handle, int block) {
    std::vector<std::string> names;
    auto values = InLibrary([&] {
        const ORQExcModel::Block& at = BlockAt(handle, block);
        names = at.attributes;
        Buffer<double> buffer(static_cast<std::size_t>(at.elements.Size()) * names.size());
        if (!names.empty()) {
            handle.Model().ReadAttributes(at, 0, at.elements.Size(), buffer.Span());
        }
        return buffer;
    });
    const auto nNames = static_cast<py::ssize_t>(names.size());
    const auto nRows = nNames == 0 ? 0 : static_cast<py::ssize_t>(values.size) / nNames;
    return py::make_tuple(names, ToArray(std::move(values), {nRows, nNames}));
}

py::array_t<int> Labels(ModelHandle& handle, Kind kind) {
    const auto labels = InLibrary([&] { return handle.Labels(kind); });
    return ToArray(std::span<const int>(labels));
}

py::array_t<int> OrdinalsOf(ModelHandle& handle, Kind kind, const Ints& labels) {
    const std::span<const int> from = SpanOf(labels);
    auto ordinals = InLibrary([&] {
        Buffer<int> buffer(from.size());
        for (std::size_t i = 0; i < from.size(); ++i) {
            buffer.values[i] = handle.OrdinalOf(kind, from[i]);
        }
        return buffer;
    });
    return ToArray(std::move(ordinals), {labels.size()});
}

/// The block of an element, and its place in it.
std::pair<int, int> PlaceOf(ModelHandle& handle, int element) {
    return InLibrary([&] {
        CheckIndex("element", element, handle.Model().NumElements());
        const auto& blocks = handle.Model().Blocks();
        for (std::size_t block = 0; block < blocks.size(); ++block) {
            if (const int place = blocks[block].elements.SeekMember(element); place >= 0) {
                return std::pair(static_cast<int>(block), place);
            }
        }
        return std::pair(-1, -1);
    });
}

}  // namespace

void DefineMesh(HandleClass& handle) {
    handle
        .def_property_readonly(
            "dimension",
            [](ModelHandle& self) { return InLibrary([&] { return self.Model().Dimension(); }); })
        .def("count", [](ModelHandle& self,
                         Kind kind) { return InLibrary([&] { return self.CountOf(kind); }); })
        .def("coordinates", &Coordinates)
        .def("coordinates_of", &CoordinatesOf)
        .def("blocks", &Blocks)
        .def("connectivity", &Connectivity)
        .def("block_elements", &BlockElements)
        .def("attributes", &Attributes)
        .def("labels", &Labels)
        .def("ordinals_of", &OrdinalsOf)
        .def("ordinal_of",
             [](ModelHandle& self, Kind kind, int label) {
                 return InLibrary([&] { return self.OrdinalOf(kind, label); });
             })
        .def("place_of", &PlaceOf);
}

}  // namespace orqmodel
