#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranKeptCards.h"
#include "formats/nastran/NastranText.h"

namespace orq::exchange {

/// What is written as one part of a deck: the whole model, or one of its instances, whose objects
/// have names that end like the instance's.
struct NastranScope {
    const ORQExcModel& model;
    const ORQExcLayup& layup;
    const std::vector<int>& nodeLabels;     ///< by ordinal
    const std::vector<int>& elementLabels;  ///< the same
    const std::vector<char>& hasNode;       ///< by ordinal; empty: all
    const std::vector<char>& hasElement;    ///< the same
    std::string suffix;                     ///< of names; empty for the main part
    std::vector<std::string> others;        ///< suffixes of the other parts
    const NastranKeptCards& kept;
    bool isOfDeck;  ///< whether the model comes from a deck
    NastranText& text;
    ORQExcReport& report;

    bool HasNode(int ordinal) const {
        return hasNode.empty() || hasNode[static_cast<std::size_t>(ordinal)] != 0;
    }
    bool HasElement(int ordinal) const {
        return hasElement.empty() || hasElement[static_cast<std::size_t>(ordinal)] != 0;
    }
    /// Whether an object of the name belongs to the part.
    bool HasNamed(std::string_view name) const {
        for (const std::string& other : others) {
            if (name.ends_with(other)) {
                return false;
            }
        }
        return name.ends_with(suffix);
    }
    /// The name as the part alone has it.
    std::string OwnName(const std::string& name) const {
        return name.substr(0, name.size() - suffix.size());
    }
};

}  // namespace orq::exchange
