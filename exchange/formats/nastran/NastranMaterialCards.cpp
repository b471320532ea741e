#include "formats/nastran/NastranMaterialCards.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "formats/nastran/NastranCards.h"
#include "model/Numbering.h"

namespace orq::exchange {
namespace {

class MaterialCards {
  public:
    MaterialCards(NastranText& text, ORQExcReport& report) : m_text(text), m_report(report) {}

    void Write(const ORQExcLayup::Material& material, int number) {
        const MaterialKind* const card = FindMaterialKind(material.kind);
        if (card == nullptr) {
            m_report.Drop(
                "material", material.name, 1,
                fmt::format("the model has no constants of it; sections name it as {}", number));
            return;
        }
        WriteConstants(material, *card, number);
        WriteDependence(material, *card, number);
        m_report.Keep("material", material.name, 1);
    }

  private:
    static constexpr int kNoField = 0;  ///< as NastranFieldOf returns

    static std::string NameOf(const ORQExcLayup::Material& material,
                              const ORQExcMaterialTable& table, std::size_t component) {
        return fmt::format("{}: {} {}", material.name, table.property,
                           table.components[component].name);
    }

    /// The field of a component on the card; where it has none, the component is reported.
    int FieldOf(const ORQExcLayup::Material& material, const MaterialKind& card,
                const ORQExcMaterialTable& table, std::size_t component) {
        const int field = NastranFieldOf(card, table.components[component].name);
        if (field == kNoField) {
            m_report.Drop("material component", NameOf(material, table, component),
                          static_cast<std::int64_t>(table.NumRows()),
                          fmt::format("the card {} has no field for it", material.kind));
        }
        return field;
    }

    void WriteConstants(const ORQExcLayup::Material& material, const MaterialKind& card,
                        int number) {
        BulkFields fields;
        fields.Set(1, number);
        for (const ORQExcMaterialTable& table : material.tables) {
            for (std::size_t i = 0; table.IsConstant() && i < table.components.size(); ++i) {
                const double value = table.values[i];
                const int field = FieldOf(material, card, table, i);
                if (field == kNoField || std::isnan(value)) {
                    continue;
                }
                if (table.components[i].name != card.integer) {
                    fields.Set(field, value);
                } else if (value == static_cast<int>(std::clamp(value, -1e9, 1e9))) {
                    // The clamp in the condition keeps the conversion to int defined.
                    fields.Set(field, static_cast<int>(value));
                } else {
                    m_report.Drop("material component", NameOf(material, table, i), 1,
                                  fmt::format("{} is no integer, as the card {} has it", value,
                                              material.kind));
                }
            }
        }
        m_text.Card(material.kind, fields);
    }

    /// The card that names the tables of the material, and those tables that are new.
    void WriteDependence(const ORQExcLayup::Material& material, const MaterialKind& card,
                         int number) {
        BulkFields fields;
        for (const ORQExcMaterialTable& table : material.tables) {
            if (!table.fieldVariables.empty()) {
                m_report.Drop("material table",
                              fmt::format("{}: {}", material.name, table.property),
                              static_cast<std::int64_t>(table.NumRows()),
                              "bulk data have no field variables");
                continue;
            }
            for (std::size_t i = 0; table.HasTemperatures() && i < table.components.size(); ++i) {
                if (const int field = FieldOf(material, card, table, i); field != kNoField) {
                    fields.Set(field, WriteTable(table, i));
                }
            }
        }
        if (!fields.Texts().empty()) {
            fields.Set(1, number);
            m_text.Card(NastranTemperatureCard(material.kind), fields);
        }
    }

    /// Returns the number of a table with the values of a component; a table that is written
    /// already serves again.
    int WriteTable(const ORQExcMaterialTable& table, std::size_t component) {
        BulkFields fields;
        int field = kFirstTableField;
        for (std::size_t row = 0; row < table.NumRows(); ++row, field += 2) {
            fields.Set(field, table.temperatures[row]);
            if (const double value = table.Value(row, component); !std::isnan(value)) {
                fields.Set(field + 1, value);
            }
        }
        fields.Set(field, std::string("ENDT"));
        const int wanted = table.components[component].number;
        const auto written = m_tables.find({wanted, fields.Texts()});
        if (written != m_tables.end()) {
            return written->second;
        }
        const int number = m_tableNumbers.Unique(wanted);
        m_tables[{wanted, fields.Texts()}] = number;
        fields.Set(1, number);
        m_text.Card("TABLEM1", fields);
        return number;
    }

    NastranText& m_text;
    ORQExcReport& m_report;
    std::map<std::pair<int, std::vector<std::string>>, int> m_tables;  // by number and points
    Numbers m_tableNumbers;
};

}  // namespace

std::vector<int> MaterialNumbers(const std::vector<ORQExcLayup::Material>& materials) {
    // Each instance of a deck numbers its materials; their names end with the instance.
    std::vector<int> numbers;
    std::map<std::string, Numbers> taken;
    for (const ORQExcLayup::Material& material : materials) {
        const std::string own = fmt::format("{} {}", material.kind, material.number);
        const bool isOfDeck = !material.kind.empty() && material.name.starts_with(own);
        numbers.push_back(
            taken[isOfDeck ? material.name.substr(own.size()) : ""].Unique(material.number));
    }
    return numbers;
}

void WriteMaterialCards(const std::vector<ORQExcLayup::Material>& materials,
                        const std::vector<int>& numbers,
                        const std::function<bool(const ORQExcLayup::Material&)>& isWritten,
                        NastranText& text, ORQExcReport& report) {
    MaterialCards cards(text, report);
    for (std::size_t i = 0; i < materials.size(); ++i) {
        if (!isWritten(materials[i])) {
            cards.Write(materials[i], numbers[i]);
        }
    }
}

}  // namespace orq::exchange
