#include "Conductivity.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "HeatModel.h"
#include "ORQBasAlloc.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvFsmMaterialTable.h"

namespace heat {
namespace {

// Where the table hangs on its material: one dependent of one value, by temperature.
constexpr int kTypes[] = {ORQSimSchema::Material_dependents, -1};
constexpr int kMembers[] = {0};
constexpr int kLengths[] = {1};

ORQSrvFsmMaterialTable Table() {
    return {kTypes,
            kMembers,
            kLengths,
            true,
            ORQSimSchema::Material_temperatures,
            0,
            ORQSimSchema::Material_fieldVariables,
            0};
}

ORQSimPosition FindMaterial(const ORQObjDocument& document, const ORQString& name) {
    return document.GetModel().GetMap(ORQSimSchema::Model_materials).Find(name);
}

struct Free {
    void operator()(void* memory) const { mem_Free(memory); }
};
template <class T>
using Owned = std::unique_ptr<T[], Free>;

}  // namespace

Conductivity::Conductivity(std::vector<Row> rows) : m_rows(std::move(rows)) {
    if (m_rows.empty()) {
        throw HeatError("the conductivity has no value");
    }
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        const auto& [temperature, value] = m_rows[i];
        if (!(value > 0.0) || !std::isfinite(value) || !std::isfinite(temperature)) {
            throw HeatError("a conductivity of " + std::to_string(value) + " at temperature " +
                            std::to_string(temperature) + " is not above 0");
        }
        if (i > 0 && temperature <= m_rows[i - 1].first) {
            throw HeatError("the temperatures of the conductivity do not ascend at " +
                            std::to_string(temperature));
        }
    }
}

void Conductivity::Save(ORQSimTransaction& transaction, const ORQObjDocument& document,
                        const ORQString& material) const {
    ORQSimPosition owner = FindMaterial(document, material);
    if (owner.IsNull()) {
        owner = ORQObjSectionBuilder(document).AddMaterial(material, 0);
    }
    std::vector<double> temperatures;
    std::vector<double> values;
    for (const auto& [temperature, value] : m_rows) {
        temperatures.push_back(temperature);
        values.push_back(value);
    }
    const double* data[] = {values.data(), temperatures.data()};
    const ORQSimCollectionID rows = document.Focus()
                                        .GetPosition(ORQSimSchema::Focus_libraries)
                                        .GetPosition(ORQSimSchema::Libraries_tableRows)
                                        .GetCollection();
    const ORQSimCollectionID components = document.GetComponentCollection().GetCollection();
    Table().Save(transaction, owner, rows, components, {}, data, static_cast<int>(values.size()),
                 true, 0, {});
}

Conductivity Conductivity::Read(const ORQObjDocument& document, const ORQString& material) {
    const ORQSimPosition owner = FindMaterial(document, material);
    // What the service would take as damage is only a table that nobody has given yet.
    if (owner.Follow(kTypes[0], kMembers[0]).IsNull()) {
        throw HeatError("the material \"" + material.UTF8() + "\" has no conductivity");
    }
    double** data = nullptr;
    int nRows = 0;
    int columns = 0;
    bool hasTemperatures = false;
    int fieldVariables = 0;
    Table().FillPointer(owner, data, nRows, columns, hasTemperatures, fieldVariables);
    const Owned<double*> arrays(data);
    const Owned<double> values(data[0]);
    const Owned<double> temperatures(data[1]);
    std::vector<Row> rows;
    for (int i = 0; i < nRows; ++i) {
        rows.emplace_back(hasTemperatures ? temperatures[static_cast<std::size_t>(i)] : 0.0,
                          values[static_cast<std::size_t>(i)]);
    }
    return Conductivity(std::move(rows));
}

double Conductivity::At(double temperature) const {
    const auto above = std::ranges::upper_bound(m_rows, temperature, {}, &Row::first);
    if (above == m_rows.begin()) {
        return m_rows.front().second;
    }
    if (above == m_rows.end()) {
        return m_rows.back().second;
    }
    const auto& [t0, k0] = *(above - 1);
    const auto& [t1, k1] = *above;
    return std::lerp(k0, k1, (temperature - t0) / (t1 - t0));
}

}  // namespace heat
