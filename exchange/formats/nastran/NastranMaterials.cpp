#include "formats/nastran/NastranMaterials.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "formats/nastran/NastranCards.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

/// Returns the table of a property over these temperatures, appended if there is none.
ORQExcMaterialTable& TableOver(const std::vector<double>& temperatures, const std::string& property,
                               std::vector<ORQExcMaterialTable>& tables) {
    const auto found = std::ranges::find_if(tables, [&](const ORQExcMaterialTable& table) {
        return table.property == property && table.temperatures == temperatures;
    });
    if (found != tables.end()) {
        return *found;
    }
    ORQExcMaterialTable& table = tables.emplace_back(ORQExcMaterialTable{property, {}});
    table.temperatures = temperatures;
    return table;
}

/// Puts a column behind those of the table.
void AddColumn(ORQExcMaterialTable& table, const ORQExcMaterialTable::Column& column,
               const std::vector<double>& values) {
    std::vector<double> widened;
    const std::size_t nBefore = table.components.size();
    for (std::size_t row = 0; row < values.size(); ++row) {
        for (std::size_t i = 0; i < nBefore; ++i) {
            widened.push_back(table.Value(row, i));
        }
        widened.push_back(values[row]);
    }
    table.components.push_back(column);
    table.values = std::move(widened);
}

}  // namespace

BulkTaken NastranMaterials::Add(const BulkCard& card) {
    if (card.Name() == "TABLEM1") {
        return AddTable(card);
    }
    if (!card.Name().starts_with("MAT")) {
        return BulkTaken::No;
    }
    return card.Name().starts_with("MATT") ? AddDependence(card) : AddMaterial(card);
}

// --- Materials -----------------------------------------------------------------------------------

BulkTaken NastranMaterials::AddMaterial(const BulkCard& card) {
    const std::string kind(card.Name());
    const MaterialKind* const known = FindMaterialKind(kind);
    // An unknown card may have no number, so none is demanded of it.
    const auto number = card.IsInt(1) || known != nullptr ? card.NeededLabel(1) : std::nullopt;
    if (!number) {
        return BulkTaken::No;
    }
    if (known == nullptr) {
        m_unread.try_emplace(*number, kind);
        return BulkTaken::No;
    }
    ORQExcLayup::Material material{fmt::format("{} {}", kind, *number), *number};
    material.kind = kind;
    int field = kFirstMaterialConstant;
    for (const MaterialKind::Constant& constant : known->constants) {
        AddColumn(TableOver({}, constant.property, material.tables), {constant.name},
                  {card.RealOr(field++, kNoValue)});
    }
    if (card.IsBroken()) {
        // A broken card still gives its name to what refers to it.
        m_unread.try_emplace(*number, kind);
        return BulkTaken::No;
    }
    std::erase_if(material.tables, [](const ORQExcMaterialTable& table) {
        return std::ranges::all_of(table.values, [](double value) { return std::isnan(value); });
    });
    const auto [at, isNew] = m_places.try_emplace(
        *number, std::pair{static_cast<int>(m_materials.size()), card.Place()});
    if (!isNew) {
        card.Complain(1, fmt::format("material {} is given before, in {}", *number,
                                     m_problems.NameOf(at->second.second)));
        return BulkTaken::No;
    }
    m_materials.push_back(std::move(material));
    return BulkTaken::Partly;
}

int NastranMaterials::Refer(const BulkCard& card, int field) {
    const auto number = card.Int(field);
    if (!number || *number == 0) {
        return 0;
    }
    m_references.push_back(
        {card.Place(), std::string(card.Name()), card.Int(1).value_or(0), field, *number});
    return *number;
}

int NastranMaterials::PlaceOf(int number) const {
    const auto found = m_places.find(number);
    return found == m_places.end() ? ORQExcLayup::kNone : found->second.first;
}

// --- Dependence on temperature -------------------------------------------------------------------

BulkTaken NastranMaterials::AddDependence(const BulkCard& card) {
    constexpr std::string_view kBegin = "MATT";
    const std::string materialCard = std::string("MAT").append(card.Name().substr(kBegin.size()));
    const MaterialKind* const known = FindMaterialKind(materialCard);
    if (known == nullptr || !known->dependsOnTemperature) {
        return BulkTaken::No;
    }
    const auto number = card.NeededLabel(1);
    Dependence dependence{card.Place(), materialCard, number.value_or(0), {}};
    for (int field = kFirstMaterialConstant; field <= card.NumFields(); ++field) {
        if (const auto table = card.Int(field); table && *table != 0) {
            dependence.tables.emplace_back(field, *table);
        }
    }
    if (card.IsBroken()) {
        return BulkTaken::No;
    }
    const auto [at, isNew] =
        m_dependences.try_emplace({materialCard, *number}, std::move(dependence));
    if (!isNew) {
        card.Complain(1, fmt::format("the temperature dependence of material {} is given before, "
                                     "in {}",
                                     *number, m_problems.NameOf(at->second.place)));
        return BulkTaken::No;
    }
    return BulkTaken::Partly;
}

BulkTaken NastranMaterials::AddTable(const BulkCard& card) {
    const auto number = card.NeededLabel(1);
    if (!number) {
        return BulkTaken::No;
    }
    Table table{card.Place(), {{}, {{"y"}}}};
    ReadPoints(card, table);
    if (card.IsBroken()) {
        return BulkTaken::No;
    }
    const auto [at, isNew] = m_tables.try_emplace(*number, std::move(table));
    if (!isNew) {
        card.Complain(1, fmt::format("table {} is given before, in {}", *number,
                                     m_problems.NameOf(at->second.place)));
        return BulkTaken::No;
    }
    return BulkTaken::Partly;
}

/// Pairs of temperature and value, to ENDT.
void NastranMaterials::ReadPoints(const BulkCard& card, Table& table) {
    const std::string name = fmt::format("TABLEM1 {}", card.Text(1));
    const std::string place = m_problems.NameOf(card.Place());
    const auto change = [&](int field, const std::string& what) {
        m_losses.Note("table", name, 1,
                      fmt::format("{}: {}: {}", place, BulkFieldName(field), what));
    };
    const auto drop = [&](int field, const char* kind, const std::string& why) {
        m_losses.Note(kind, name, 1, fmt::format("{}: {}: {}", place, BulkFieldName(field), why));
    };
    for (const int field : {2, 3, 4}) {
        if (!card.IsBlank(field) && !card.Is(field, "LINEAR")) {
            change(field, fmt::format("\"{}\" is not kept", card.Text(field)));
        }
    }
    int field = kFirstTableField;
    bool isEnded = false;
    for (; field <= card.NumFields() && !isEnded; field += 2) {
        isEnded = card.Is(field, "ENDT") || card.Is(field + 1, "ENDT");
        if (card.Is(field, "ENDT")) {
            --field;  // ENDT takes one field, a point two
        } else if (card.Is(field, "SKIP") || card.Is(field + 1, "SKIP")) {
            change(field, "the point with SKIP is left out");
        } else if (card.IsBlank(field)) {
            drop(field, "point of a table",
                 card.IsBlank(field + 1)
                     ? "it is blank"
                     : fmt::format("the value {} has no temperature", card.Text(field + 1)));
        } else if (const auto temperature = card.Real(field)) {
            table.points.temperatures.push_back(*temperature);
            table.points.values.push_back(isEnded ? kNoValue : card.RealOr(field + 1, kNoValue));
        }
    }
    if (!isEnded) {
        change(field, "ENDT is missing; the table ends with its card");
    } else if (field <= card.NumFields()) {
        drop(field, "fields of a table", "they stand behind ENDT");
    }
}

void NastranMaterials::Resolve() {
    // Before the search for missing materials: a name alone is enough for a reference.
    AddNamed();
    for (const Reference& reference : m_references) {
        if (!m_places.contains(reference.material)) {
            const std::string name = fmt::format("{} {}", reference.card, reference.number);
            m_problems.Find(reference.place, "material", fmt::format("{}", reference.material),
                            fmt::format("{}: {}: material {} is missing", name,
                                        BulkFieldName(reference.field), reference.material));
        }
    }
    for (const auto& [key, dependence] : m_dependences) {
        Apply(dependence);
    }
    for (const auto& [number, table] : m_tables) {
        const std::string name = fmt::format("TABLEM1 {}", number);
        if (!table.isUsed) {
            m_losses.Note("table", name, 1,
                          m_problems.NameOf(table.place) + ": no material depends on it");
            continue;
        }
        for (const std::string& oddity : ORQExcOdditiesOf(table.points)) {
            m_losses.Note("table", name, 1,
                          fmt::format("{}: {}", m_problems.NameOf(table.place), oddity));
        }
    }
}

/// Materials of which the model has no constants, where there is no other of the number.
void NastranMaterials::AddNamed() {
    for (const auto& [number, kind] : m_unread) {
        if (m_places
                .try_emplace(number, std::pair{static_cast<int>(m_materials.size()), BulkPlace{}})
                .second) {
            m_materials.push_back({fmt::format("{} {}", kind, number), number});
        }
    }
}

void NastranMaterials::Apply(const Dependence& dependence) {
    const std::string name =
        fmt::format("{} {}", NastranTemperatureCard(dependence.card), dependence.material);
    const auto drop = [&](std::int64_t count, const std::string& reason) {
        m_losses.Note("temperature dependence", name, count,
                      fmt::format("{}: {}", m_problems.NameOf(dependence.place), reason));
    };
    const int place = PlaceOf(dependence.material);
    if (place == ORQExcLayup::kNone ||
        m_materials[static_cast<std::size_t>(place)].kind != dependence.card) {
        return drop(std::ssize(dependence.tables),
                    fmt::format("there is no {} {}", dependence.card, dependence.material));
    }
    const auto& constants = FindMaterialKind(dependence.card)->constants;
    std::vector<ORQExcMaterialTable> tables;
    for (const auto& [field, number] : dependence.tables) {
        const auto constant = static_cast<std::size_t>(field - kFirstMaterialConstant);
        const auto found = m_tables.find(number);
        if (constant >= constants.size()) {
            drop(1, BulkFieldName(field) + ": the material has no such constant");
        } else if (found == m_tables.end()) {
            drop(1, fmt::format("{}: there is no TABLEM1 {}", BulkFieldName(field), number));
        } else if (const ORQExcMaterialTable& points = found->second.points;
                   points.values.empty()) {
            drop(1, fmt::format("{}: TABLEM1 {} has no points", BulkFieldName(field), number));
        } else {
            found->second.isUsed = true;
            AddColumn(TableOver(points.temperatures, constants[constant].property, tables),
                      {constants[constant].name, {}, number}, points.values);
        }
    }
    auto& all = m_materials[static_cast<std::size_t>(place)].tables;
    all.insert(all.end(), tables.begin(), tables.end());
}

}  // namespace orq::exchange
