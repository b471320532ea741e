#include "formats/nastran/NastranExport.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcKeptTexts.h"
#include "ORQExcLayup.h"
#include "formats/nastran/NastranKept.h"
#include "formats/nastran/NastranKeptCards.h"
#include "formats/nastran/NastranMaterialCards.h"
#include "formats/nastran/NastranMeshCards.h"
#include "formats/nastran/NastranScope.h"
#include "formats/nastran/NastranSectionCards.h"
#include "formats/nastran/NastranSetCards.h"
#include "model/Numbering.h"

namespace orq::exchange {
namespace {

class Deck {
  public:
    Deck(const ORQExcModel& model, const std::filesystem::path& file, ORQExcReport& report)
        : m_model(model),
          m_report(report),
          m_layup(ORQExcReadLayup(model.Document())),
          m_text(file),
          m_nodeLabels(model.NodeLabels()),
          m_elementLabels(model.ElementLabels()) {
        for (ORQExcKeptText& text : ORQExcReadKeptTexts(model.Document())) {
            if (text.format == kNastranFormat) {
                m_kept.push_back(std::move(text));
            }
        }
        // Each card of a node or an element needs a label.
        CompleteLabels(m_nodeLabels, "node", report);
        CompleteLabels(m_elementLabels, "element", report);
    }

    void Write() {
        WriteControl();
        const std::vector<std::string> instances = InstancesOfDeck();
        if (instances.size() > 1) {
            WriteInstances(instances);
        } else {
            // Parts of a deck have labels of their own; in one part a label may stand once.
            MakeLabelsUnique(m_nodeLabels, "node", m_report);
            MakeLabelsUnique(m_elementLabels, "element", m_report);
            WritePart(instances.empty() ? std::string() : instances[0], {}, {}, {}, {});
        }
        for (const ORQExcModel::Surface& surface : m_model.Surfaces()) {
            m_report.Drop("side set", surface.name, std::ssize(surface.faces),
                          "bulk data have no card for it");
        }
        ReportElementsWithoutBlock();
        m_text.Line("ENDDATA");
        m_text.Close();
    }

  private:
    void WriteControl() {
        if (const std::string title = m_model.Title(); !title.empty()) {
            m_text.Comment(title);
            m_report.Change("title", title, 1, "it became a comment");
        }
        for (const std::string_view section : {kNastranExecutive, kNastranCase}) {
            for (const ORQExcKeptText& text : m_kept) {
                if (text.section == section) {
                    m_text.Lines(text.text);
                    m_report.Keep(section, "lines", text.contents.at(0).second);
                }
            }
        }
    }

    /// The instances with kept texts, in the order of the deck.
    std::vector<std::string> InstancesOfDeck() const {
        std::vector<std::string> instances;
        for (const ORQExcKeptText& text : m_kept) {
            if (text.section == kNastranBegin) {
                instances.push_back(text.instance);
            }
        }
        return instances;
    }

    const ORQExcKeptText* Find(std::string_view section, const std::string& instance,
                               bool isAlsoInModel) const {
        const auto found = std::ranges::find_if(m_kept, [&](const ORQExcKeptText& text) {
            return text.section == section && text.instance == instance &&
                   text.isAlsoInModel == isAlsoInModel;
        });
        return found == m_kept.end() ? nullptr : &*found;
    }

    void WriteInstances(const std::vector<std::string>& names) {
        const std::vector<ORQExcModel::Instance> instances = m_model.Instances();
        const auto suffixOf = [](const std::string& name) {
            return name == ORQExcMeshSource::kMainInstance ? std::string() : " " + name;
        };
        for (const std::string& name : names) {
            std::vector<char> hasNode(m_nodeLabels.size());
            std::vector<char> hasElement(m_elementLabels.size());
            const auto found = std::ranges::find(instances, name, &ORQExcModel::Instance::name);
            if (found != instances.end()) {
                for (const int node : found->nodes) {
                    hasNode[static_cast<std::size_t>(node)] = 1;
                }
                for (const int element : found->elements) {
                    hasElement[static_cast<std::size_t>(element)] = 1;
                }
            }
            // A name ends with its part, and the suffix of one part may end with that of another
            // (that of the main part is empty): the longer suffix owns the name.
            std::vector<std::string> others;
            for (const std::string& other : names) {
                if (suffixOf(other).size() > suffixOf(name).size()) {
                    others.push_back(suffixOf(other));
                }
            }
            WritePart(name, suffixOf(name), others, hasNode, hasElement);
        }
    }

    static LabelIndex IndexOf(const std::vector<int>& labels, const std::vector<char>& has) {
        std::vector<std::pair<int, int>> sorted;
        for (std::size_t i = 0; i < labels.size(); ++i) {
            if (has.empty() || has[i] != 0) {
                sorted.emplace_back(labels[i], static_cast<int>(i));
            }
        }
        std::ranges::sort(sorted);
        return LabelIndex(std::move(sorted));
    }

    NastranCoordinates::Point PositionOf(int node) const {
        NastranCoordinates::Point point{};
        if (const auto dimension = static_cast<std::size_t>(m_model.Dimension()); dimension > 0) {
            m_model.ReadCoordinates(node, node + 1, std::span(point).first(dimension));
        }
        return point;
    }

    /// Writes a part; the lists are empty when it is the whole model.
    void WritePart(const std::string& instance, const std::string& suffix,
                   const std::vector<std::string>& others, const std::vector<char>& hasNode,
                   const std::vector<char>& hasElement) {
        const ORQExcKeptText* const begin = Find(kNastranBegin, instance, true);
        m_text.Lines(begin == nullptr ? "BEGIN BULK" : begin->text);
        const ORQExcKeptText* const also = Find(kNastranCards, instance, true);
        const NastranKeptCards kept(
            also == nullptr ? std::string() : also->text, IndexOf(m_nodeLabels, hasNode),
            IndexOf(m_elementLabels, hasElement), [this](int node) { return PositionOf(node); });
        const NastranScope scope{m_model, m_layup,         m_nodeLabels, m_elementLabels,
                                 hasNode, hasElement,      suffix,       others,
                                 kept,    !m_kept.empty(), m_text,       m_report};
        WriteScope(scope);
        if (const ORQExcKeptText* const alone = Find(kNastranCards, instance, false)) {
            m_text.Lines(alone->text);
            for (const auto& [name, count] : alone->contents) {
                m_report.Keep("bulk data as text", name, count);
            }
        }
    }

    void WriteScope(const NastranScope& scope) {
        const auto isWritten = [&](const ORQExcLayup::Material& material) {
            return !scope.HasNamed(material.name) || (material.kind.empty() && scope.isOfDeck) ||
                   // A kept card is found by its number, whatever name it was given since.
                   (scope.kept.Has(fmt::format("{} {}", material.kind, material.number)) &&
                    scope.kept.SaysMaterial(material));
        };
        for (const ORQExcLayup::Material& material : m_layup.materials) {
            if (scope.HasNamed(material.name) && isWritten(material)) {
                m_report.Keep("material", material.name, 1);
            }
        }
        const std::vector<int> materialNumbers = MaterialNumbers(m_layup.materials);
        NastranSectionCards sections(scope, materialNumbers);
        NastranSetCards sets(scope);
        // Kept cards are written once sections and sets have compared them with the model.
        scope.kept.Write(
            [&](const std::string& object) {
                return sections.IsGood(object) && sets.IsGood(object);
            },
            [&](std::string_view line) { m_text.Line(line); });
        WriteMaterialCards(m_layup.materials, materialNumbers, isWritten, m_text, m_report);
        sections.Write();
        NastranMeshCards mesh(scope, sections);
        mesh.WriteNodes();
        mesh.WriteElements();
        sets.Write(sections);
    }

    void ReportElementsWithoutBlock() {
        std::int64_t nInBlocks = 0;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            nInBlocks += block.elements.Size();
        }
        if (const auto missing = m_model.NumElements() - nInBlocks; missing > 0) {
            m_report.Drop("elements", "", missing, "they are in no block");
        }
    }

    const ORQExcModel& m_model;
    ORQExcReport& m_report;
    ORQExcLayup m_layup;
    NastranText m_text;
    std::vector<int> m_nodeLabels;  // by ordinal
    std::vector<int> m_elementLabels;
    std::vector<ORQExcKeptText> m_kept;
};

}  // namespace

void WriteNastran(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
                  ORQExcReport& report) {
    Deck(model, output.file, report).Write();
    if (!results.Frames().empty()) {
        report.Drop("times", "", std::ssize(results.Frames()), "bulk data has no results");
    }
    for (const ORQExcResults::Field& field : results.Fields()) {
        report.Drop(ORQExcFieldKind(field.place), field.name, std::ssize(field.components),
                    "bulk data has no results");
    }
}

}  // namespace orq::exchange
