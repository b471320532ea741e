#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcEdit.h"
#include "ORQExcKeptTexts.h"
#include "ORQExcTexts.h"
#include "ORQSimCSet.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "edit/KeptParts.h"
#include "edit/NamedObjects.h"

using namespace orq::exchange;

namespace {

void CheckNewName(ObjectKind kind, const std::string& name, const ORQObjDocument& document) {
    if (name.empty() || ORQString(name).UTF8() != name || ORQExcPrintable(name) != name) {
        ORQBasThrowUsage(fmt::format(
            "\"{}\" cannot be the name of a {}: a name is printable UTF-8, and not empty", name,
            NameOf(kind)));
    }
    const auto isTaken = [&](ObjectKind by) {
        const std::vector<std::string> names = NamesOf(by, document);
        return std::ranges::find(names, name) != names.end();
    };
    // A block and its element set have one name, so each is taken by the other.
    for (const ObjectKind by : {kind, kind == ObjectKind::Block ? ObjectKind::ElementSet : kind}) {
        if (isTaken(by)) {
            ORQBasThrowUsage(fmt::format("there is a {} \"{}\" already", NameOf(by), name));
        }
    }
}

/// Refuses what the cards of a deck go by: a set named otherwise would be another card, and a
/// coordinate system has an origin only on its card.
void CheckCards(ObjectKind kind, const std::string& name, const ORQObjDocument& document) {
    if ((kind == ObjectKind::NodeSet || kind == ObjectKind::ElementSet ||
         kind == ObjectKind::Orientation) &&
        HasCardsOf(name, ORQExcReadKeptTexts(document))) {
        ORQBasThrowUsage(
            fmt::format("{} \"{}\": cards of its deck that the model keeps as text go by this name",
                        NameOf(kind), name));
    }
}

void CheckPart(ObjectKind kind, const std::string& name, const std::string& newName,
               const ORQObjDocument& document) {
    const std::vector<ORQExcKeptText> texts = ORQExcReadKeptTexts(document);
    const std::string part = PartOf(name, texts);
    if (PartOf(newName, texts) != part) {
        ORQBasThrowUsage(
            part.empty()
                ? fmt::format("{} \"{}\": the name \"{}\" ends like those of another instance",
                              NameOf(kind), name, newName)
                : fmt::format("{} \"{}\" is of instance \"{}\" of its deck: its name has to end "
                              "with \" {}\"",
                              NameOf(kind), name, part, part));
    }
}

void RenameKey(const ORQObjDocument& document, int slot, const std::string& name,
               const std::string& newName) {
    const ORQSimMap map = document.GetModel().GetMap(slot);
    const ORQSimPosition entry = map.Find(name);
    map.Remove(name);
    map.Insert(newName, entry);
}

void RenameObject(ObjectKind kind, const std::string& name, const std::string& newName,
                  const ORQObjDocument& document) {
    FindObject(kind, name, document).SetName(ORQSimSchema::Record_name, newName);
    if (const int slot = MapSlotOf(kind); slot != 0) {
        RenameKey(document, slot, name, newName);
    }
}

void RenameBlock(const std::string& name, const std::string& newName,
                 const ORQObjDocument& document) {
    const std::vector<std::string> sets = NamesOf(ObjectKind::ElementSet, document);
    if (std::ranges::find(sets, name) != sets.end()) {
        RenameObject(ObjectKind::ElementSet, name, newName, document);
    }
    RenameObject(ObjectKind::Block, name, newName, document);
}

void RenameField(const std::string& name, const std::string& newName,
                 const ORQObjDocument& document) {
    const ORQExcResults::Field field = FindField(name, document);
    for (const ORQObjMeshedField& stored : field.ofStep) {
        if (!stored.Position().IsNull()) {
            stored.Position().SetName(ORQSimSchema::Record_name, newName);
        }
    }
}

/// The texts of a deck name the instance that they belong to.
void RenameInstance(const std::string& name, const std::string& newName,
                    const ORQObjDocument& document) {
    std::vector<ORQExcKeptText> texts = ORQExcReadKeptTexts(document);
    const auto isOfOther = [&](const ORQExcKeptText& text) {
        return !text.instance.empty() && text.instance != name;
    };
    const bool isNamed = std::ranges::find(texts, name, &ORQExcKeptText::instance) != texts.end();
    if (isNamed && std::ranges::any_of(texts, isOfOther)) {
        ORQBasThrowUsage(
            fmt::format("instance \"{}\" is one of several of a deck, of which the names of "
                        "objects end with the name of the instance",
                        name));
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (texts[i].instance == name) {
            texts[i].instance = newName;
            ORQExcReplaceKeptText(texts[i], static_cast<int>(i), document);
        }
    }
    RenameObject(ObjectKind::Instance, name, newName, document);
}

}  // namespace

void ORQExcRename(const ORQObjDocument& document, ObjectKind kind, const std::string& name,
                  const std::string& newName, ORQExcReport& report) {
    if (kind == ObjectKind::Field) {
        FindField(name, document);
    } else {
        FindObject(kind, name, document);
    }
    if (StandsForBlock(kind, name, document)) {
        ORQBasThrowUsage(fmt::format(
            "element set \"{}\" stands for the block of that name; rename the block", name));
    }
    CheckNewName(kind, newName, document);
    CheckCards(kind, name, document);
    CheckPart(kind, name, newName, document);
    switch (kind) {
        case ObjectKind::Field:
            RenameField(name, newName, document);
            break;
        case ObjectKind::Instance:
            RenameInstance(name, newName, document);
            break;
        case ObjectKind::Block:
            RenameBlock(name, newName, document);
            break;
        default:
            RenameObject(kind, name, newName, document);
    }
    report.Change(NameOf(kind), newName, 1, fmt::format("its name was \"{}\"", name));
}
