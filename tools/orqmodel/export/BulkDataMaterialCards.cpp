#include "export/BulkDataMaterialCards.h"

#include <fmt/format.h>

#include <cmath>
#include <map>
#include <string>
#include <utility>

#include "export/Numbering.h"
#include "mesh/BulkDataCards.h"

namespace orqmodel {
namespace {

class MaterialCards {
  public:
    MaterialCards(BulkDataText& text, LossReport& report) : m_text(text), m_report(report) {}

    std::vector<int> Write(const std::vector<Layup::Material>& materials) {
        std::vector<int> given;
        Numbers numbers;
        for (const Layup::Material& material : materials) {
            given.push_back(numbers.Unique(material.number));
            const BulkMaterialCard* const card = FindBulkMaterialCard(material.kind);
            if (card == nullptr) {
                m_report.Drop(
                    "material", material.name, 1,
                    fmt::format("the model has no constants of it; sections name it as {}",
                                given.back()));
                continue;
            }
            WriteConstants(material, *card, given.back());
            WriteDependence(material, *card, given.back());
            m_report.Keep("material", material.name, 1);
        }
        return given;
    }

  private:
    void WriteConstants(const Layup::Material& material, const BulkMaterialCard& card, int number) {
        BulkFields fields;
        fields.Set(1, number);
        for (const MaterialTable& table : material.tables) {
            for (std::size_t i = 0; table.IsConstant() && i < table.components.size(); ++i) {
                const int field = card.FieldOf(table.components[i].name);
                if (field == card.integerField && !std::isnan(table.values[i])) {
                    fields.Set(field, static_cast<int>(table.values[i]));
                } else if (!std::isnan(table.values[i])) {
                    fields.Set(field, table.values[i]);
                }
            }
        }
        m_text.Card(material.kind, fields);
    }

    /// The card that names the tables of the material, and those tables that are new.
    void WriteDependence(const Layup::Material& material, const BulkMaterialCard& card,
                         int number) {
        BulkFields fields;
        for (const MaterialTable& table : material.tables) {
            if (!table.fieldVariables.empty()) {
                m_report.Drop("material table",
                              fmt::format("{}: {}", material.name, table.property),
                              static_cast<std::int64_t>(table.NumRows()),
                              "bulk data have no field variables");
                continue;
            }
            for (std::size_t i = 0; table.HasTemperatures() && i < table.components.size(); ++i) {
                fields.Set(card.FieldOf(table.components[i].name), WriteTable(table, i));
            }
        }
        if (!fields.Texts().empty()) {
            fields.Set(1, number);
            m_text.Card(BulkTemperatureCard(material.kind), fields);
        }
    }

    /// Answers the number of a table with the values of a component; one that is written already if
    /// it is the same.
    int WriteTable(const MaterialTable& table, std::size_t component) {
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

    BulkDataText& m_text;
    LossReport& m_report;
    std::map<std::pair<int, std::vector<std::string>>, int> m_tables;  // by number and points
    Numbers m_tableNumbers;
};

}  // namespace

std::vector<int> WriteMaterialCards(const std::vector<Layup::Material>& materials,
                                    BulkDataText& text, LossReport& report) {
    return MaterialCards(text, report).Write(materials);
}

}  // namespace orqmodel
