#include "formats/nastran/NastranKeptLabels.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "formats/nastran/NastranCards.h"
#include "formats/nastran/NastranDeck.h"
#include "formats/nastran/NastranKept.h"

namespace orq::exchange {
namespace {

/// How the names of cards begin of which no number is a label of a node or an element.
constexpr std::array<std::string_view, 12> kWithoutLabels = {"MAT",    "CORD2",  "EIG",    "TABLE",
                                                             "TABD",   "PARAM",  "DESVAR", "DCONA",
                                                             "SPCADD", "MPCADD", "FREQ",   "LOAD "};

bool MayHaveLabels(std::string_view card) {
    const std::string padded = std::string(card) + " ";
    return card != "GRID" && FindNastranElementCard(card) == nullptr &&
           NastranPropertyFamily(card).empty() &&
           std::ranges::none_of(kWithoutLabels,
                                [&](std::string_view name) { return padded.starts_with(name); });
}

bool IsOfCards(const ORQExcKeptText& text) {
    return text.format == kNastranFormat && text.section == kNastranCards;
}

/// Visits each card of a text of bulk data. What is wrong in it was reported when it was imported.
void ForEachCard(const ORQExcKeptText& text, const std::function<void(const BulkCard&)>& visit) {
    NastranProblems problems;
    NastranDeck deck(std::string_view(text.text), problems);
    BulkCard card;
    while (deck.Next(card)) {
        visit(card);
    }
}

/// "1, THRU, 5" is the range from 1 to 5, whatever its steps.
std::vector<LabelRange> LabelsOf(const BulkCard& card) {
    std::vector<LabelRange> labels;
    bool isThrough = false;
    for (int field = 1; field <= card.NumFields(); ++field) {
        if (card.Is(field, "THRU") && !labels.empty()) {
            isThrough = true;
        } else if (const auto number = BulkInt(card.Text(field))) {
            if (isThrough) {
                labels.back().second = std::max(labels.back().first, *number);
            } else {
                labels.emplace_back(*number, *number);
            }
            isThrough = false;
        }
    }
    return labels;
}

/// The names that the object of a card may have: "SPC1 1", "SPC1 1 123".
std::array<std::string, 2> ObjectsOf(const BulkCard& card) {
    const std::string name = fmt::format("{} {}", card.Name(), card.Text(1));
    return {name, fmt::format("{} {}", name, card.Text(2))};
}

}  // namespace

void ForEachLabelledCard(const std::vector<ORQExcKeptText>& texts,
                         const std::function<void(const ORQExcKeptText& text, std::string_view card,
                                                  std::span<const LabelRange> labels)>& visit) {
    for (const ORQExcKeptText& text : texts) {
        // Cards of what the model has too are written anew where the model says something else.
        if (IsOfCards(text) && !text.isAlsoInModel) {
            ForEachCard(text, [&](const BulkCard& card) {
                if (MayHaveLabels(card.Name())) {
                    visit(text, card.Name(), LabelsOf(card));
                }
            });
        }
    }
}

/// Cards of elements that are not known here count, too: PCONEAX, PPLANE, PCONV.
static bool MayBeProperty(std::string_view card) {
    return card.starts_with('P') && card != "PARAM" && !card.starts_with("PLOAD") &&
           !card.starts_with("PLOTEL");
}

std::set<int> NumbersOnPropertyCards(const std::vector<ORQExcKeptText>& texts) {
    std::set<int> numbers;
    for (const ORQExcKeptText& text : texts) {
        if (!IsOfCards(text)) {
            continue;
        }
        ForEachCard(text, [&](const BulkCard& card) {
            for (int field = 2; field <= card.NumFields() && MayBeProperty(card.Name()); ++field) {
                if (const auto number = BulkInt(card.Text(field))) {
                    numbers.insert(*number);
                }
            }
        });
    }
    return numbers;
}

std::map<std::string, int> DropKeptCards(ORQExcKeptText& text,
                                         const std::set<std::string>& objects) {
    std::map<std::string, int> dropped;
    if (!IsOfCards(text) || !text.isAlsoInModel) {
        return dropped;
    }
    NastranKept others;
    ForEachCard(text, [&](const BulkCard& card) {
        const auto names = ObjectsOf(card);
        const auto named = std::ranges::find_if(
            names, [&](const std::string& name) { return objects.contains(name); });
        if (named != names.end()) {
            ++dropped[*named];
        } else {
            others.Add(card, BulkTaken::Partly);
        }
    });
    if (!dropped.empty()) {
        std::vector<ORQExcKeptText> left;
        std::move(others).Put(text.instance, left);
        text.text = left.empty() ? std::string() : left[0].text;
        text.contents = left.empty() ? decltype(text.contents)() : left[0].contents;
    }
    return dropped;
}

bool HasKeptCards(const ORQExcKeptText& text, const std::string& object) {
    bool has = false;
    if (IsOfCards(text) && text.isAlsoInModel) {
        ForEachCard(text, [&](const BulkCard& card) {
            has = has || std::ranges::count(ObjectsOf(card), object) > 0;
        });
    }
    return has;
}

}  // namespace orq::exchange
