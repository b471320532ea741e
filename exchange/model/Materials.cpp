#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "ORQBasFailure.h"
#include "ORQExcLayup.h"
#include "ORQExcMaterials.h"
#include "ORQExcNearNames.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"

ORQExcMaterials::ORQExcMaterials(const ORQObjDocument& document) {
    const ORQSimPosition collection = document.GetMaterialCollection();
    const int space =
        collection.IsNull() ? 0 : ORQSimCollection(collection.GetCollection()).Space();
    for (int member = 0; member < space; ++member) {
        const ORQSimPosition position =
            ORQSimCollection(collection.GetCollection()).GetMember(member);
        if (!position.IsNull()) {
            m_materials.push_back(
                {position.Name(ORQSimSchema::Record_name).UTF8(),
                 position.DataRecord().GetInt(ORQSimRecordField::Material_number),
                 position.DataRecord().ReturnString(ORQSimRecordField::Material_kind).UTF8(),
                 position});
        }
    }
}

const ORQExcMaterials::Material& ORQExcMaterials::Named(const std::string& name) const {
    const auto found = std::ranges::find(m_materials, name, &Material::name);
    if (found == m_materials.end()) {
        std::vector<std::string> names;
        std::ranges::transform(m_materials, std::back_inserter(names), &Material::name);
        ORQBasThrowUsage(
            fmt::format("there is no material \"{}\"{}", name, ORQExcNearNames(name, names)));
    }
    return *found;
}
