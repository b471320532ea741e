#include "edit/NamedObjects.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"

namespace orq::exchange {
namespace {

struct KindRow {
    ObjectKind kind;
    const char* name;
    int mapSlot;
    int clusterSlot;  ///< by which the region of a set, which stands in the map, leads to it
};

constexpr std::array kKinds = {
    KindRow{ObjectKind::Block, "block", 0, 0},
    KindRow{ObjectKind::NodeSet, "node set", ORQSimSchema::Model_nodeSets,
            ORQSimSchema::Region_nodesCluster},
    KindRow{ObjectKind::ElementSet, "element set", ORQSimSchema::Model_elementSets,
            ORQSimSchema::Region_elementsCluster},
    KindRow{ObjectKind::Surface, "surface", ORQSimSchema::Model_surfaces, 0},
    KindRow{ObjectKind::Section, "section", ORQSimSchema::Model_sectionNames, 0},
    KindRow{ObjectKind::Material, "material", ORQSimSchema::Model_materials, 0},
    KindRow{ObjectKind::Orientation, "orientation", ORQSimSchema::Model_orientations, 0},
    KindRow{ObjectKind::Step, "step", ORQSimSchema::Model_steps, 0},
    KindRow{ObjectKind::Field, "field", 0, 0},
    KindRow{ObjectKind::Instance, "instance", 0, 0},
};

const KindRow& RowOf(ObjectKind kind) {
    return *std::ranges::find(kKinds, kind, &KindRow::kind);
}

[[noreturn]] void RefuseUnknown(ObjectKind kind, const std::string& name,
                                const ORQObjDocument& document) {
    const std::vector<std::string> names = NamesOf(kind, document);
    ORQBasThrowUsage(
        fmt::format("there is no {} \"{}\"{}", NameOf(kind), name, ORQExcNearNames(name, names)));
}

/// Blocks and instances, which stand in no map.
std::vector<ORQSimPosition> Listed(ObjectKind kind, const ORQObjDocument& document) {
    std::vector<ORQSimPosition> objects;
    if (kind == ObjectKind::Block) {
        const ORQSimVector blocks = document.GetMesh().GetVector(ORQSimSchema::Mesh_blocks);
        for (auto i = blocks.Begin(); i.NotDone(); ++i) {
            objects.push_back(*i);
        }
        return objects;
    }
    const ORQSimCollection instances(
        ORQObjMesh(document.GetMesh()).GetInstanceCollection().GetCollection());
    for (int member = 0; member < instances.Space(); ++member) {
        objects.push_back(instances.GetMember(member));
    }
    return objects;
}

}  // namespace

const char* NameOf(ObjectKind kind) {
    return RowOf(kind).name;
}

int MapSlotOf(ObjectKind kind) {
    return RowOf(kind).mapSlot;
}

std::vector<std::string> NamesOf(ObjectKind kind, const ORQObjDocument& document) {
    std::vector<std::string> names;
    if (kind == ObjectKind::Field) {
        const ORQExcResults results(document);
        for (const ORQExcResults::Field& field : results.Fields()) {
            names.push_back(field.name);
        }
    } else if (const int slot = MapSlotOf(kind); slot != 0) {
        const ORQSimMap map = document.GetModel().GetMap(slot);
        for (auto entry = map.Begin(); entry.NotDone(); ++entry) {
            names.push_back(entry.Key().UTF8());
        }
    } else {
        for (const ORQSimPosition& object : Listed(kind, document)) {
            names.push_back(object.Name().UTF8());
        }
    }
    return names;
}

ORQSimPosition FindObject(ObjectKind kind, const std::string& name,
                          const ORQObjDocument& document) {
    ORQSimPosition found;
    if (const KindRow& row = RowOf(kind); row.mapSlot != 0) {
        found = document.GetModel().GetMap(row.mapSlot).Find(name);
        found = row.clusterSlot == 0 ? found : found.Parent(row.clusterSlot);
    } else {
        for (const ORQSimPosition& object : Listed(kind, document)) {
            found = found.IsNull() && object.Name().UTF8() == name ? object : found;
        }
    }
    if (found.IsNull()) {
        RefuseUnknown(kind, name, document);
    }
    return found;
}

ORQExcResults::Field FindField(const std::string& name, const ORQObjDocument& document) {
    const ORQExcResults results(document);
    const auto hasName = [&](const ORQExcResults::Field& field) { return field.name == name; };
    const auto found = std::ranges::find_if(results.Fields(), hasName);
    if (found == results.Fields().end()) {
        RefuseUnknown(ObjectKind::Field, name, document);
    }
    if (std::ranges::count_if(results.Fields(), hasName) > 1) {
        ORQBasThrowUsage(fmt::format("several fields have the name \"{}\"", name));
    }
    return *found;
}

bool StandsForBlock(ObjectKind kind, const std::string& name, const ORQObjDocument& document) {
    const std::vector<std::string> blocks = NamesOf(ObjectKind::Block, document);
    return kind == ObjectKind::ElementSet && std::ranges::find(blocks, name) != blocks.end();
}

}  // namespace orq::exchange
