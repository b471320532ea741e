#pragma once

#include <string>
#include <vector>

#include "ORQExcKeptTexts.h"
#include "ORQExcReport.h"
#include "ORQObjDocument.h"

namespace orq::exchange {

/// Labels of one instance, ascending.
struct InstanceLabels {
    std::string instance;
    std::vector<int> labels;
};

/// Enters into the report, by card, how many kept cards may name one of the labels, which changed
/// or are gone. The cards of a text without an instance may name those of any.
void ReportCardsNaming(const std::vector<InstanceLabels>& changed, const ORQObjDocument& document,
                       ORQExcReport& report);

/// Erases labels that a kept card may name.
void EraseNamedByCards(std::vector<InstanceLabels>& labels, const ORQObjDocument& document);

/// The instance of a deck of several that an object of the name belongs to: its name ends so. Empty
/// for the main one, and for a model that is no such deck.
std::string PartOf(const std::string& name, const std::vector<ORQExcKeptText>& texts);

/// Takes the cards that are kept of objects, of names as the model has them, out of the texts, and
/// enters that into the report. Looks through the texts once.
void DropCardsOf(const std::vector<std::string>& names, const ORQObjDocument& document,
                 ORQExcReport& report);
/// Whether there are any.
bool HasCardsOf(const std::string& name, const std::vector<ORQExcKeptText>& texts);

/// Takes away the kept arrays of a file that hold, or are over, node numbers, which changed.
void DropArraysOverNodes(const ORQObjDocument& document, ORQExcReport& report);
/// Drops arrays over the elements of a file, of a block or of an element set that has lost some.
void DropArraysOverElements(const ORQObjDocument& document, ORQExcReport& report);
/// Drops the arrays that go by the places of sets of a kind ("ns", "ss" or "els"), of which one is
/// deleted, where a file counts its sets.
void DropArraysOfSets(const std::string& family, const ORQObjDocument& document,
                      ORQExcReport& report);

}  // namespace orq::exchange
