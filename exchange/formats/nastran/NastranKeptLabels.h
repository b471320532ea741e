#pragma once

#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQExcKeptTexts.h"

namespace orq::exchange {

/// Labels from the first to the second; one stands for itself.
using LabelRange = std::pair<int, int>;

/// Calls back for each kept card of bulk data that may name nodes or elements, in the order of the
/// texts, with all whole numbers of its fields: which of them are labels depends on the card, so
/// some are not. Left out are cards of what the model has too, which exports write anew where the
/// model changed, and those of properties, materials and the like.
void ForEachLabelledCard(const std::vector<ORQExcKeptText>& texts,
                         const std::function<void(const ORQExcKeptText& text, std::string_view card,
                                                  std::span<const LabelRange> labels)>& visit);

/// The numbers of materials that kept cards of properties may name.
std::set<int> NumbersOnPropertyCards(const std::vector<ORQExcKeptText>& texts);

/// Takes the cards of objects, for example "PSHELL 3" or "SPC1 1 123", out of the text, where the
/// model has the objects too. Answers how many there were of each.
std::map<std::string, int> DropKeptCards(ORQExcKeptText& text,
                                         const std::set<std::string>& objects);
/// Whether there are such cards.
bool HasKeptCards(const ORQExcKeptText& text, const std::string& object);

}  // namespace orq::exchange
