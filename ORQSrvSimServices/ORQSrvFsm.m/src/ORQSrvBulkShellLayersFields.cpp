// The writer's values that vary over the elements.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimFTable.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvBulkShellLayers.h"
#include "ORQSrvBulkShellLayersCommon.h"

using namespace orq::layers;

namespace {

constexpr double kNoValue = -std::numeric_limits<double>::max();

/// How a message calls an object.
std::string Shown(const char* kind, const ORQSimPosition& object) {
    const std::string name = object.Name().UTF8();
    return object.IsNull() ? std::string("a null ") + kind
           : name.empty()
               ? std::string(kind) + " (object " + std::to_string(object.ID().MinorID()) + ")"
               : std::string(kind) + " \"" + name + "\"";
}

ORQSimCSet ElementsOf(const ORQSimPosition& region) {
    ORQSimCSet elements(region.GetPosition(ORQSimSchema::Region_elementsCluster).GetCSet());
    if (elements.IsEmpty()) {
        Refuse(Shown("region", region) + " of a distributed value has no elements");
    }
    return elements;
}

/// The one component of which the drawers that have some of the elements hold values; empty when
/// none of them does.
ORQSimCSet ComponentOf(const ORQSimDistribution& distribution, const ORQSimPosition& field,
                       const ORQSimCSet& elements, int elementDim) {
    ORQSimCSet components;
    for (const ORQSimPersistentDrawerDesc& drawer : distribution.QueryDrawers()) {
        if (!elements.Intersection(ORQSimCSet(drawer.CSet(elementDim))).IsEmpty()) {
            components = components.Union(ORQSimCSet(drawer.CSet(1 - elementDim)));
        }
    }
    if (components.Size() > 1) {
        Refuse(Shown("field", field) + " of a distributed value has " +
               std::to_string(components.Size()) + " values for an element instead of one");
    }
    return components;
}

}  // namespace

/// An attribute with one value per layer and element.
struct ORQSrvBulkShellLayers::FieldAttribute {
    int slot;
    const char* userField;
    const char* absenceCheck;
    const char* lengthCheck;
    int absenceLine;
    int userFieldLine;
    int lengthLine;
};

void ORQSrvBulkShellLayers::WriteDistThicknessDistribution() {
    WriteFields(m_distThicknesses,
                {ORQSimSchema::SectionData_distributedThicknesses, "STH",
                 "distField.IsNull() && \"Distributed thickness field already exists and editing "
                 "it is NYI\"",
                 "len == thicknesses.size()*sizeof(double)", 948, 957, 1020});
}

void ORQSrvBulkShellLayers::WriteDistAngleDistribution() {
    WriteFields(m_distAngles,
                {ORQSimSchema::SectionData_distributedAngles, "ANGLE",
                 "distField.IsNull() && \"Distributed angle field already exists and editing it is "
                 "NYI\"",
                 "len == angles.size()*sizeof(double)", 1041, 1050, 1113});
}

void ORQSrvBulkShellLayers::WriteFields(const Fields& fields, const FieldAttribute& attribute) {
    if (!m_active || fields.empty()) {
        return;
    }
    const ORQSimPosition distField = m_sectionData.GetPosition(attribute.slot);
    ORQSrvAssertThrown(distField.IsNull(), attribute.absenceCheck, s_source, attribute.absenceLine);
    ORQSimCollection layers(LayerCollection());
    MakeRoom(layers, fields.rbegin()->first);
    const ORQSimCollection elements(
        ORQObjMesh(ORQObjDocument(m_model).GetMesh()).GetElementCollection().GetCollection());

    const ORQSimDataRecord record = m_model.CreateDataRecord(ORQSimSchema::MeshedField);
    record.SetTypeID(ORQSimRecordField::MeshedField_gridType,
                     ORQSimTypeID(ORQSimSchema::Field_WholeElement));
    const ORQSimPosition field = record.Pos();
    field.SetPosition(ORQSimSchema::MeshedField_type,
                      UserField(attribute.userField, attribute.userFieldLine));
    const ORQSimPosition position = field.CreateTypedDistribution(
        ORQSimGrid(std::vector{layers.ID(), elements.ID()}), ORQSimSchema::DistributionRecord,
        ORQSimRangeType(ORQSimScalarDouble));
    field.SetPosition(ORQSimSchema::Field_distribution, position);

    const ORQSimDistribution distribution(position.GetDistribution());
    for (const auto& [layer, regions] : fields) {
        Column<double> column;
        for (const auto& [region, values] : regions) {
            ReadFieldData(region, values, column);
        }
        column.Settle();
        ORQSimTransfer write(distribution);
        write.SetWrite()
            .SetMakeNewDrawer()
            .SetBufferPadding(false)
            .SetDim(0, layers.CreateVolatileCSet(&layer, 1, true))
            .SetDim(1, elements.CreateVolatileCSet(column.members.data(),
                                                   static_cast<int>(column.members.size()), true));
        Write(write, column.values, attribute.lengthCheck, attribute.lengthLine);
    }
    m_sectionData.SetPosition(attribute.slot, field);
}

void ORQSrvBulkShellLayers::ReadFieldData(const ORQSimPosition& region, const ORQSimPosition& field,
                                          Column<double>& values) const {
    const ORQSimCSet elements = ElementsOf(region);
    const ORQSimFTable table(field.GetPosition(ORQSimSchema::Field_fTable).GetFTable());
    if (!table.IsNull()) {
        const int ncols = table.ColumnCount();
        ORQSrvAssertThrown(ncols == 1, "ncols == 1", s_source, 1186);
        const int nrows = table.RowCount();
        if (nrows != 1 && nrows != elements.Size()) {
            Refuse("the table of " + Shown("field", field) + " has " + std::to_string(nrows) +
                   " rows for " + Shown("region", region) + " of " +
                   std::to_string(elements.Size()) + " elements");
        }
        std::vector<double> rows(static_cast<std::size_t>(nrows));
        table.GetData(rows.data(), nrows);
        for (ORQSimCSetIterator element(elements); !element.IsDone(); element.Next()) {
            const int row = nrows == 1 ? 0 : element.CurrentLocation();
            values.Append(element.CurrentValue(), rows[static_cast<std::size_t>(row)]);
        }
        return;
    }
    std::vector<ORQSimDistributionID> dids;
    const ORQSimPosition data = field.GetPosition(ORQSimSchema::Field_distribution);
    if (!data.GetDistribution().IsNull()) {
        dids.push_back(data.GetDistribution());
    }
    ORQSrvAssertThrown(dids.size() == 1, "dids.Size() == 1", s_source, 1149);
    const ORQSimDistribution distribution(dids.front());
    const int numDim = distribution.NumDimensions();
    ORQSrvAssertThrown(numDim == 2, "numDim == 2", s_source, 1155);
    const std::vector<ORQSimCollectionID> grid = distribution.Grid().Collections();
    const auto elementDim =
        static_cast<int>(std::ranges::find(grid, elements.CollectionID()) - grid.begin());
    if (elementDim == numDim) {
        Refuse(Shown("field", field) + " of a distributed value has no values for elements");
    }
    const ORQSimCSet component = ComponentOf(distribution, field, elements, elementDim);
    if (component.IsEmpty()) {
        return;
    }
    // Elements for which nothing is stored keep the value of none.
    std::vector<double> read(static_cast<std::size_t>(elements.Size()), kNoValue);
    ORQSimTransfer(distribution)
        .SetRead()
        .SetBufferType(ORQSimScalarDouble)
        .SetDim(elementDim, elements)
        .SetDim(1 - elementDim, component)
        .SetBuffer(ORQSimbufMain, read.data(),
                   static_cast<std::int64_t>(read.size() * sizeof(double)))
        .ExecRead();
    for (ORQSimCSetIterator element(elements); !element.IsDone(); element.Next()) {
        const double value = read[static_cast<std::size_t>(element.CurrentLocation())];
        if (value != kNoValue) {
            values.Append(element.CurrentValue(), value);
        }
    }
}
