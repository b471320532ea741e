#include "edit/Deletion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <set>

#include "ORQBasFailure.h"
#include "ORQExcEdit.h"
#include "ORQObjStep.h"
#include "ORQSimCSet.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "edit/KeptParts.h"
#include "edit/NamedObjects.h"
#include "edit/Removal.h"

using namespace orq::exchange;

namespace {

/// Names the users of an object that keep it from being deleted.
void CheckUnused(ObjectKind kind, const std::string& name, const std::vector<std::string>& users,
                 const char* advice) {
    // A material may be in thousands of layers; a message is read on one screen.
    constexpr std::size_t kMost = 5;
    if (users.empty()) {
        return;
    }
    const std::vector<std::string> named(
        users.begin(), users.begin() + static_cast<std::ptrdiff_t>(std::min(kMost, users.size())));
    ORQBasThrowUsage(fmt::format(
        "{} \"{}\" is in use: {}{}{}", NameOf(kind), name, fmt::join(named, ", "),
        users.size() > kMost ? fmt::format(" and {} more", users.size() - kMost) : std::string(),
        advice));
}

std::int64_t CountOf(ObjectKind kind, const ORQSimPosition& object) {
    switch (kind) {
        case ObjectKind::NodeSet:
            return object.GetPosition(ORQSimSchema::Region_nodesCluster).CSet().Size();
        case ObjectKind::ElementSet:
            return object.GetPosition(ORQSimSchema::Region_elementsCluster).CSet().Size();
        default:
            return 1;
    }
}

void DeleteField(const ORQObjDocument& document, const std::string& name, ORQExcReport& report) {
    const Removal removal(document);
    int nSteps = 0;
    const ORQExcResults::Field field = FindField(name, document);
    for (const ORQObjMeshedField& stored : field.ofStep) {
        if (!stored.Position().IsNull()) {
            removal.Field(stored);
            ++nSteps;
        }
    }
    report.Drop(NameOf(ObjectKind::Field), name, nSteps, "deleted, in as many steps");
}

void Remove(ObjectKind kind, const ORQSimPosition& object, const ORQObjDocument& document) {
    const Removal removal(document);
    switch (kind) {
        case ObjectKind::NodeSet:
        case ObjectKind::ElementSet:
        case ObjectKind::Surface:
            removal.Region(object);
            break;
        case ObjectKind::Section:
            removal.Section(object);
            break;
        case ObjectKind::Material:
            removal.Material(object);
            break;
        case ObjectKind::Step:
            removal.Step(object);
            break;
        default:
            removal.Object(object);
    }
}

/// What its cards are called, whatever name it was given since: "MAT1 7"; empty for what has none.
std::string CardOf(ObjectKind kind, const ORQSimPosition& object) {
    const ORQSimDataRecord record = object.DataRecord();
    const auto called = [&](int kindField, int numberField) {
        const std::string card = record.ReturnString(kindField).UTF8();
        return card.empty() ? card : fmt::format("{} {}", card, record.GetInt(numberField));
    };
    using namespace ORQSimRecordField;
    return kind == ObjectKind::Material  ? called(Material_kind, Material_number)
           : kind == ObjectKind::Section ? called(Section_layered_kind, Section_layered_number)
                                         : std::string();
}

/// The cards of all objects of a kind.
std::set<std::string> CardsOf(ObjectKind kind, const ORQObjDocument& document) {
    std::set<std::string> cards;
    const ORQSimMap map = document.GetModel().GetMap(MapSlotOf(kind));
    for (auto entry = map.Begin(); entry.NotDone(); ++entry) {
        cards.insert(CardOf(kind, *entry));
    }
    return cards;
}

/// Arrays of the file that go by the places of sets.
void DropArraysOfKind(ObjectKind kind, const ORQObjDocument& document, ORQExcReport& report) {
    if (kind == ObjectKind::NodeSet || kind == ObjectKind::ElementSet ||
        kind == ObjectKind::Surface) {
        DropArraysOfSets(kind == ObjectKind::NodeSet   ? "ns"
                         : kind == ObjectKind::Surface ? "ss"
                                                       : "els",
                         document, report);
    }
}

}  // namespace

DeletedObject orq::exchange::DeleteButCards(const ORQObjDocument& document, ObjectKind kind,
                                            const std::string& name, bool force, const Users& users,
                                            ORQExcReport& report) {
    const ORQSimPosition object = FindObject(kind, name, document);
    if (kind == ObjectKind::Block || kind == ObjectKind::Instance) {
        ORQBasThrowUsage(fmt::format("{} \"{}\" has nodes or elements, which are not deleted",
                                     NameOf(kind), name));
    }
    if (StandsForBlock(kind, name, document)) {
        ORQBasThrowUsage(fmt::format("element set \"{}\" stands for the block of that name", name));
    }
    CheckUnused(kind, name, users.Of(kind, object), "");
    const std::vector<ORQSimPosition> assignments = AssignmentsOf(object);
    const std::vector<std::string> assigned = NamesOf(assignments);
    if (!force) {
        CheckUnused(kind, name, assigned, "; with force the assignments go too");
    }
    for (std::size_t i = 0; i < assignments.size(); ++i) {
        Removal(document).Object(assignments[i]);
        report.Drop("section assignment", assigned[i], 1, "what it assigns, or is for, is gone");
    }
    const std::int64_t count = CountOf(kind, object);
    const std::string card = CardOf(kind, object);
    Remove(kind, object, document);
    report.Drop(NameOf(kind), name, count, "deleted");
    DropArraysOfKind(kind, document, report);
    return {name, card};
}

void orq::exchange::DropCardsOfDeleted(ObjectKind kind, const std::vector<DeletedObject>& deleted,
                                       const ORQObjDocument& document, ORQExcReport& report) {
    const std::set<std::string> cards = CardsOf(kind, document);
    const std::vector<ORQExcKeptText> texts = ORQExcReadKeptTexts(document);
    std::vector<std::string> names;
    for (const DeletedObject& object : deleted) {
        names.push_back(object.name);
        if (!object.card.empty() && !cards.contains(object.card)) {
            const std::string part = PartOf(object.name, texts);
            names.push_back(part.empty() ? object.card : object.card + " " + part);
        }
    }
    DropCardsOf(names, document, report);
}

void ORQExcDelete(const ORQObjDocument& document, ObjectKind kind, const std::string& name,
                  bool force, ORQExcReport& report) {
    if (kind == ObjectKind::Field) {
        DeleteField(document, name, report);
        return;
    }
    DropCardsOfDeleted(kind, {DeleteButCards(document, kind, name, force, Users(document), report)},
                       document, report);
}
