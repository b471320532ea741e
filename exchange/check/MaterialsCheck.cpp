#include <fmt/format.h>

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <optional>
#include <set>

#include "ORQExcCheck.h"
#include "ORQExcKeptTexts.h"
#include "ORQExcLayup.h"
#include "check/Checks.h"
#include "formats/nastran/NastranKeptLabels.h"

namespace orq::exchange {
namespace {

const ORQExcRule kUnusedMaterial = {
    .id = "MAT001",
    .level = ORQExcLevel::Note,
    .title = "material of no layer",
    .meaning = "no layer has the material, and no property kept as text may name it",
    .breaks = "nothing; it is likely a leftover",
    .mending = "remove the material, if nothing needs it"};
const ORQExcRule kElastic = {
    .id = "MAT002",
    .level = ORQExcLevel::Error,
    .title = "elastic constants that are not positive definite",
    .meaning = "some deformation of the material would release energy",
    .breaks = "the stiffness is not positive definite: solvers stop, or give nonsense",
    .mending = "correct the constants; Poisson's ratios are often given for the other direction",
    .source =
        "B. M. Lempriere, Poisson's ratio in orthotropic materials, AIAA Journal 6 (1968) "
        "2226-2227"};
const ORQExcRule kTable = {
    .id = "MAT003",
    .level = ORQExcLevel::Warning,
    .title = "material table that a reader may take in another way",
    .meaning = "temperatures do not rise, a temperature stands twice, or a value is not given",
    .breaks = "values between the rows are not what was meant",
    .mending = "sort the rows, and give each temperature once"};

const ORQExcRule kUnits = {
    .id = "MAT004",
    .level = ORQExcLevel::Note,
    .title = "material whose stiffness and density are likely of two systems of units",
    .meaning = "sound would travel through it slower or faster than in any system in use",
    .breaks = "frequencies, and all that goes by mass, are wrong by powers of ten",
    .mending = "give modulus and density in units that agree: N, m and kg; or N, mm and t",
    .limit = 10.0,
    .limitOf = "lengths a second at least; and 1e8 at most",
    .source =
        "the speed of waves in a rod, the root of modulus by density: rubber 30 m/s, steel "
        "5e6 mm/s, diamond 2e7 mm/s"};
// Above diamond in millimetres, and below steel with a modulus in Pa and a density in t/mm^3: 5e9.
constexpr double kFastest = 1e8;

/// The constants of a row by name.
class Constants {
  public:
    Constants(const ORQExcMaterialTable& table, std::size_t row) : m_table(table), m_row(row) {}

    std::optional<double> operator[](std::string_view name) const {
        const auto& columns = m_table.components;
        const auto column = std::ranges::find(columns, name, &ORQExcMaterialTable::Column::name);
        if (column == columns.end()) {
            return std::nullopt;
        }
        const double value =
            m_table.Value(m_row, static_cast<std::size_t>(column - columns.begin()));
        return std::isnan(value) ? std::nullopt : std::optional(value);
    }

  private:
    const ORQExcMaterialTable& m_table;
    std::size_t m_row;
};

std::string Isotropic(const Constants& of) {
    const auto E = of["E"];
    const auto nu = of["nu"];
    if (E && !(*E > 0)) {
        return fmt::format("E is {:g}", *E);
    }
    if (nu && !(*nu > -1 && *nu <= 0.5)) {
        return fmt::format("nu is {:g}; it lies between -1 and 0.5", *nu);
    }
    return {};
}

/// Checks the compliance of the three directions, without those that are not given.
std::string Orthotropic(const Constants& of) {
    constexpr std::array kModuli = {"E1", "E2", "E3"};
    Eigen::Matrix3d compliance = Eigen::Matrix3d::Zero();
    for (int i = 0; i < 3; ++i) {
        const auto modulus = of[kModuli.at(static_cast<std::size_t>(i))];
        if (modulus && !(*modulus > 0)) {
            return fmt::format("{} is {:g}", kModuli.at(static_cast<std::size_t>(i)), *modulus);
        }
        compliance(i, i) = modulus ? 1 / *modulus : 1;
    }
    for (const char* shear : {"G12", "G13", "G23"}) {
        // Zero stands for stiff in transverse shear, in bulk data.
        if (const auto modulus = of[shear]; modulus && *modulus < 0) {
            return fmt::format("{} is {:g}", shear, *modulus);
        }
    }
    std::string ratios;
    for (const auto& [name, i, k] : {std::tuple("nu12", 0, 1), {"nu13", 0, 2}, {"nu23", 1, 2}}) {
        if (const auto ratio = of[name]) {
            compliance(i, k) = compliance(k, i) = -*ratio * compliance(i, i);
            ratios += fmt::format("{}{} {:g}", ratios.empty() ? "" : ", ", name, *ratio);
        }
    }
    return Eigen::LLT<Eigen::Matrix3d>(compliance).info() == Eigen::Success
               ? std::string()
               : fmt::format("{} do not go with the moduli", ratios);
}

/// Checks the stiffness "G11, G12, ..." of so many rows.
std::string Anisotropic(const Constants& of, int size) {
    Eigen::MatrixXd stiffness(size, size);
    for (int i = 0; i < size; ++i) {
        for (int k = i; k < size; ++k) {
            stiffness(i, k) = stiffness(k, i) =
                of[fmt::format("G{}{}", i + 1, k + 1)].value_or(0.0);
        }
    }
    return Eigen::LLT<Eigen::MatrixXd>(stiffness).info() == Eigen::Success
               ? std::string()
               : fmt::format("the matrix of G11 to G{}{} has an eigenvalue that is not above zero",
                             size, size);
}

/// What is wrong with the constants of a row, empty for nothing that is known of them.
std::string WrongWith(const Constants& of) {
    if (of["E1"]) {
        return Orthotropic(of);
    }
    if (of["G66"]) {
        return Anisotropic(of, 6);
    }
    if (of["G11"]) {
        // Without G33 it is a material of transverse shear, which has two directions.
        return Anisotropic(of, of["G33"].value_or(0) == 0 ? 2 : 3);
    }
    return Isotropic(of);
}

class MaterialsRun : public ORQExcCheckRun {
  public:
    explicit MaterialsRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        bool areLayersAll = true;
        const ORQExcLayup layup = ORQExcReadLayup(
            m_model.Document(), [&](const std::string& /*why*/) { areLayersAll = false; });
        // Elements without a property name materials by attribute, or as their file has them.
        areLayersAll =
            areLayersAll &&
            std::ranges::none_of(m_model.Model().Blocks(), [](const ORQExcModel::Block& block) {
                return !block.definition.empty() ||
                       std::ranges::find(block.attributes, "MID") != block.attributes.end();
            });
        // Properties of bars and solids, which refer to materials too, are kept as text.
        const std::set<int> named = NumbersOnPropertyCards(ORQExcReadKeptTexts(m_model.Document()));
        std::set<int> used;
        for (const ORQExcLayup::Section& section : layup.sections) {
            for (const ORQExcLayup::Layer& layer : section.layers) {
                used.insert(layer.material);
            }
        }
        for (std::size_t i = 0; i < layup.materials.size(); ++i) {
            const std::string object = fmt::format("material \"{}\"", layup.materials[i].name);
            if (areLayersAll && !used.contains(static_cast<int>(i)) &&
                !named.contains(layup.materials[i].number)) {
                findings.push_back(
                    {.rule = kUnusedMaterial.id, .object = object, .message = "no layer has it"});
            }
            for (const ORQExcMaterialTable& table : layup.materials[i].tables) {
                CheckTable(object, table, findings);
            }
            CheckUnits(object, layup.materials[i], findings);
        }
    }

  private:
    /// The first value of a property, nothing where it has none.
    static std::optional<double> FirstOf(const ORQExcLayup::Material& material,
                                         std::string_view property,
                                         std::initializer_list<std::string_view> names) {
        const auto table =
            std::ranges::find(material.tables, property, &ORQExcMaterialTable::property);
        if (table == material.tables.end() || table->NumRows() == 0) {
            return std::nullopt;
        }
        for (const std::string_view name : names) {
            if (const auto value = Constants(*table, 0)[name]) {
                return value;
            }
        }
        return std::nullopt;
    }

    void CheckUnits(const std::string& object, const ORQExcLayup::Material& material,
                    std::vector<ORQExcFinding>& findings) const {
        const auto modulus = FirstOf(material, "elastic", {"E", "E1"});
        const auto density = FirstOf(material, "density", {"density", "rho"});
        if (!modulus || !density || !(*modulus > 0) || !(*density > 0)) {
            return;
        }
        const double speed = std::sqrt(*modulus / *density);
        if (speed < m_model.Limit(kUnits) || speed > kFastest) {
            findings.push_back({.rule = kUnits.id,
                                .object = object,
                                .message = fmt::format("modulus {:g} and density {:g}: sound at "
                                                       "{:.3g} lengths a second",
                                                       *modulus, *density, speed)});
        }
    }

    static void CheckTable(const std::string& object, const ORQExcMaterialTable& table,
                           std::vector<ORQExcFinding>& findings) {
        if (!table.IsConstant()) {
            for (const std::string& text : ORQExcOdditiesOf(table)) {
                findings.push_back({.rule = kTable.id,
                                    .object = fmt::format("{}, {}", object, table.property),
                                    .message = text});
            }
        }
        if (table.property != "elastic") {
            return;
        }
        for (std::size_t row = 0; row < table.NumRows(); ++row) {
            if (const std::string wrong = WrongWith({table, row}); !wrong.empty()) {
                findings.push_back({.rule = kElastic.id,
                                    .object = table.IsConstant()
                                                  ? object
                                                  : fmt::format("{}, row {}", object, row + 1),
                                    .message = wrong});
                return;  // the other rows are likely wrong in the same way
            }
        }
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck MaterialsCheck() {
    return {{kUnusedMaterial, kElastic, kTable, kUnits}, BeginRun<MaterialsRun>};
}

}  // namespace orq::exchange
