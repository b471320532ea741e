#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranPart.h"
#include "formats/nastran/NastranProblems.h"

namespace orq::exchange {

/// The kept cards of things that the model has too. A card is good for an export as long as it says
/// what the model says; then it is written as it stands, with all that the model has no place for.
class NastranKeptCards {
  public:
    using Position = std::function<NastranCoordinates::Point(int node)>;

    /// Nodes and elements are found by label; `position` is that of a node of the model.
    NastranKeptCards(std::string text, const LabelIndex& nodes, const LabelIndex& elements,
                     const Position& position);

    /// Writes, line by line, the cards that are neither of nodes nor of elements.
    /// `isGood` decides about those of an object.
    void Write(const std::function<bool(const std::string& object)>& isGood,
               const std::function<void(std::string_view line)>& write) const;
    /// Whether cards of an object are kept, for example "PSHELL 3", "SPC1 1 123".
    bool Has(const std::string& object) const { return m_objects.contains(object); }
    bool HasProperty(std::string_view family, int number) const;

    /// The card of a node at the position and with the constraints, if there is one.
    std::optional<std::string_view> NodeCard(int label, const NastranCoordinates::Point& at,
                                             int constraints) const;
    /// The card of an element, if there is one; whether it is good is for the caller to find out.
    std::optional<std::string_view> ElementCard(int label) const;

    /// Whether the kept cards of it say the same. True for what has none.
    bool SaysMaterial(const ORQExcLayup::Material& material) const;
    bool SaysOrientation(const ORQExcLayup::Orientation& orientation) const;
    /// Places are those of the layup; `angles` are the own angles of the layers.
    bool SaysSection(const ORQExcLayup::Section& section, const ORQExcLayup& layup,
                     std::span<const std::optional<double>> angles) const;
    bool SaysSet(const std::string& name, const ORQExcModel::Set& set) const;

  private:
    struct Card {
        std::string object;
        std::string source;
    };
    void Add(const BulkCard& card, BulkTaken taken);

    std::string m_text;
    NastranProblems m_problems;
    ORQExcReport m_losses;
    std::unique_ptr<NastranDeck> m_deck;
    NastranPart m_part{m_problems, m_losses};
    std::vector<Card> m_cards;
    std::map<std::string, int> m_objects;  // how many cards
    std::map<int, std::string_view> m_elementCards;
    std::map<std::string, NastranSets::Set> m_sets;
};

}  // namespace orq::exchange
