#include "formats/nastran/NastranProperties.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "formats/nastran/NastranCards.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

/// Properties of which a field names a material.
constexpr std::array<std::string_view, 7> kOfOneMaterial = {"PBAR", "PBARL",  "PBEAM", "PBEAML",
                                                            "PROD", "PSOLID", "PTUBE"};

}  // namespace

std::string BulkProperty::Name() const {
    return fmt::format("{} {}", card, number);
}

BulkTaken NastranProperties::Add(const BulkCard& card) {
    const std::string_view family = NastranPropertyFamily(card.Name());
    if (family.empty()) {
        if (card.Name().starts_with('P') && card.IsInt(1)) {
            m_unread.insert(*card.Int(1));
        }
        return BulkTaken::No;
    }
    BulkTaken taken = BulkTaken::No;
    const int stride = NastranPropertyStride(card.Name());
    for (int field = 1; field <= kNoStride && (field == 1 || !card.IsBlank(field));
         field += stride) {
        const auto number = card.NeededLabel(field);
        taken = number && AddOne(card, family, *number) ? BulkTaken::Partly : taken;
    }
    return taken;
}

bool NastranProperties::AddOne(const BulkCard& card, std::string_view family, int number) {
    BulkProperty property{std::string(card.Name()), number, card.Place(), {}, {}};
    const bool isPlaceholder = card.NumFields() == 1;
    if (property.card == "PSHELL" && !isPlaceholder) {
        ReadPlate(card, property);
    } else if ((property.card == "PCOMP" || property.card == "PCOMPG") && !isPlaceholder) {
        ReadLaminate(card, property);
    } else if (std::ranges::find(kOfOneMaterial, property.card) != kOfOneMaterial.end()) {
        property.material = m_materials.Refer(card, 2);
    }
    if (card.IsBroken()) {
        // Elements that name the broken card get no second finding for a missing property.
        m_unread.insert(number);
        return false;
    }
    const auto [at, isNew] = m_properties.try_emplace({family, number}, std::move(property));
    if (!isNew) {
        card.Complain(1, fmt::format("property {} is given before, in {}", number,
                                     m_problems.NameOf(at->second.place)));
    }
    return isNew;
}

void NastranProperties::ReadPlate(const BulkCard& card, BulkProperty& property) {
    const auto thickness = card.Real(3);
    if (thickness && *thickness <= 0) {
        card.Remark(3, fmt::format("the thickness {} is not above 0", *thickness));
    }
    property.plies.push_back({m_materials.Refer(card, 2), thickness, 0, 0});
    for (int i = 0; i < kNumShellConstants; ++i) {
        property.constants.push_back(card.RealOr(kFirstShellConstant + i, kNoValue));
    }
    for (const int field : kOtherMaterialFields) {
        if (card.IsInt(field) && *card.Int(field) != -1) {  // -1: plane strain
            m_materials.Refer(card, field);
        }
    }
}

void NastranProperties::ReadLaminate(const BulkCard& card, BulkProperty& property) {
    for (int field = kFirstLaminateConstant; field < kFirstLaminateConstant + kNumLaminateConstants;
         ++field) {
        const bool isWord = field == kFailureField || field == kOptionsField;
        property.constants.push_back(isWord ? ReadWord(card, field) : card.RealOr(field, kNoValue));
    }
    ReadPlies(card, property);
    if (card.Is(kOptionsField, "SYM")) {
        // The card gives the lower half of a symmetric laminate.
        const std::vector<BulkProperty::Ply> half = property.plies;
        property.plies.insert(property.plies.end(), half.rbegin(), half.rend());
    }
    if (property.plies.empty()) {
        card.Remark(kFirstPlyField, "it has no plies");
    }
}

void NastranProperties::ReadPlies(const BulkCard& card, BulkProperty& property) {
    const bool isGlobal = property.card == "PCOMPG";
    const int nFields = isGlobal ? kGlobalPlyFields : kPlyFields;
    for (int first = kFirstPlyField; first <= card.NumFields(); first += nFields) {
        const int field = isGlobal ? first + 1 : first;  // of the material
        // A laminate may leave the fields of a ply blank, such as the second half of a line of PCOMP.
        if (card.IsBlank(field) && card.IsBlank(field + 1) && card.IsBlank(field + 2) &&
            card.IsBlank(field + 3)) {
            continue;
        }
        BulkProperty::Ply ply{m_materials.Refer(card, field), card.Real(field + 1),
                              card.RealOr(field + 2, 0),
                              isGlobal ? card.NeededLabel(first).value_or(0) : 0};
        const bool hasPreceding = !property.plies.empty();
        if (card.IsBlank(field) && hasPreceding) {
            ply.material = property.plies.back().material;
        } else if (ply.material == 0) {
            card.Remark(field, "the ply has no material");
        }
        if (card.IsBlank(field + 1) && hasPreceding) {
            ply.thickness = property.plies.back().thickness;
        } else if (card.IsBlank(field + 1)) {
            card.Remark(field + 1, "the ply has no thickness");
        } else if (ply.thickness && *ply.thickness <= 0) {
            card.Remark(field + 1,
                        fmt::format("the ply's thickness {} is not above 0", *ply.thickness));
        }
        property.plies.push_back(ply);
    }
}

double NastranProperties::ReadWord(const BulkCard& card, int field) {
    // A word that is not in the list stays on the kept card.
    const auto words = NastranWords();
    const auto found =
        std::ranges::find_if(words, [&](std::string_view word) { return card.Is(field, word); });
    if (found != words.end()) {
        return static_cast<double>(found - words.begin() + 1);
    }
    return kNoValue;
}

const BulkProperty* NastranProperties::Find(std::string_view family, int number) const {
    const auto found = m_properties.find({family, number});
    return found == m_properties.end() ? nullptr : &found->second;
}

std::vector<const BulkProperty*> NastranProperties::Sections() const {
    std::vector<const BulkProperty*> sections;
    for (const auto& [key, property] : m_properties) {
        if (property.IsSection()) {
            sections.push_back(&property);
        }
    }
    return sections;
}

}  // namespace orq::exchange
