#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <vector>

#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSrvAssert.h"
#include "ORQSrvFunctions.h"

namespace {

constexpr const char* kJoiner = "_";
constexpr const char* kQuote = "\"";

constexpr std::array kElementSetKinds = {ORQSimSchema::Model_elementSets,
                                         ORQSimSchema::Model_internalElementSets};
constexpr std::array kNodeSetKinds = {ORQSimSchema::Model_nodeSets,
                                      ORQSimSchema::Model_internalNodeSets};
constexpr std::array kOrientationKinds = {ORQSimSchema::Model_orientations};
constexpr std::array kSurfaceKinds = {ORQSimSchema::Model_surfaces};

bool BeginsWith(const ORQString& text, std::string_view beginning) {
    return text.UTF8().starts_with(beginning);
}

// Whether a quote at the beginning is closed by another one.
bool IsClosed(const ORQString& part) {
    return !BeginsWith(part, kQuote) || part.FindPosition(kQuote, 1) < part.Length();
}

ORQString Unquote(const ORQString& part) {
    if (!BeginsWith(part, kQuote)) {
        return part;
    }
    ORQSrvAssertReported(IsClosed(part), "endQuotePos < nameLen");
    const int endQuotePos = part.FindPosition(kQuote, 1);
    ORQString plain = part.SubString(1, endQuotePos - 1) + part.SubString(endQuotePos + 1);
    // In what is left, the first pair of quotes is removed as well.
    const int first = plain.FindPosition(kQuote);
    const int second = plain.FindPosition(kQuote, first + 1);
    if (second < plain.Length()) {
        plain.Remove(second, 1);
        plain.Remove(first, 1);
    }
    return plain;
}

// The parts of a name, split at each joiner; at least one.
std::vector<ORQString> PiecesOf(const ORQString& name) {
    std::vector<ORQString> pieces;
    for (int begin = 0; begin <= name.Length();) {
        const int end = name.FindPosition(kJoiner, begin);
        pieces.push_back(name.SubString(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

ORQString Normalise(const ORQString& name) {
    ORQString normal;
    const char* joiner = "";
    for (const ORQString& piece : PiecesOf(name)) {
        normal.Append(joiner).Append(Unquote(piece));
        joiner = kJoiner;
    }
    return normal;
}

// What all keys of a model begin with: its prefix and a joiner; empty without a prefix.
ORQString LeadOf(const ORQSimPosition& model) {
    ORQString lead = model.DataRecord().ReturnString(ORQSimRecordField::Model_namePrefix);
    if (!lead.IsEmpty()) {
        lead.Append(kJoiner);
    }
    return lead;
}

ORQSimPosition FindInKinds(std::span<const int> kinds, const ORQSimPosition& root,
                           const ORQString& name, const char* separator, const char* instance) {
    for (const int kind : kinds) {
        const ORQSimPosition found =
            ORQSrvGetIDFromScopedName(root, name, kind, separator, instance, true);
        if (!found.IsNull()) {
            return found;
        }
    }
    return {};
}

ORQSimPosition CheckedSet(const ORQSimPosition& setPos) {
    ORQSrvAssertReported(ORQSimCSetID::CanBeConverted(setPos.ID()),
                         "ORQSimCSetID::CanBeConverted(setPos.ID())");
    return setPos;
}

ORQString KeyInKinds(std::span<const int> kinds, const ORQSimPosition& object) {
    for (const int kind : kinds) {
        if (ORQString key = object.GetReferenceKey(kind); !key.IsEmpty()) {
            return key;
        }
    }
    return {};
}

}  // namespace

// --- From scoped names to objects ----------------------------------------------------------------

bool ORQSrvHasMatchedQuotes(const ORQString& name, const char* separator, const char* instance) {
    if (!IsClosed(name) || !IsClosed(instance)) {
        return false;
    }
    ORQString plain = Unquote(name);
    plain.ReplaceAll(separator, kJoiner);
    return std::ranges::all_of(PiecesOf(plain), IsClosed) && IsClosed(Normalise(plain));
}

ORQSimPosition ORQSrvGetIDFromScopedName(const ORQSimPosition& root, const ORQString& name,
                                         int kind, const char* separator, const char* instance,
                                         bool retry) {
    if (name.IsEmpty()) {
        return {};
    }
    ORQString plain = Unquote(name);
    const ORQSimPosition model = root.GetPosition(ORQSimSchema::Focus_model);
    const ORQSimMap map = model.GetMap(kind);
    // A name within an instance has one key; without an instance the keys below are tried in turn,
    // from what was written to what it may have become on import.
    if (const ORQString scope = Unquote(instance); !scope.IsEmpty()) {
        return map.Find(LeadOf(model) + scope + kJoiner + plain);
    }
    if (const ORQSimPosition found = map.Find(plain); !found.IsNull()) {
        return found;
    }
    if (plain.ReplaceAll(separator, kJoiner) > 0) {
        if (const ORQSimPosition found = map.Find(plain); !found.IsNull()) {
            return found;
        }
    }
    const ORQString lead = LeadOf(model);
    if (lead.IsEmpty()) {
        return {};
    }
    if (const ORQSimPosition found = map.Find(lead + plain); !found.IsNull()) {
        return found;
    }
    if (BeginsWith(plain, lead.UTF8())) {
        const ORQString local = plain.SubString(lead.Length());
        if (const ORQSimPosition found = map.Find(local); !found.IsNull()) {
            return found;
        }
        if (kind == ORQSimSchema::Model_surfaces) {
            for (const char* origin : {"INP2SIM_ELSET_", "INP2SIM_NSET_"}) {
                if (const ORQSimPosition found = map.Find(origin + local); !found.IsNull()) {
                    return found;
                }
            }
        }
    }
    if (!retry) {
        return {};
    }
    const ORQString normal = Normalise(plain);
    return normal == plain
               ? ORQSimPosition()
               : ORQSrvGetIDFromScopedName(root, normal, kind, separator, instance, false);
}

ORQSimPosition ORQSrvGetElementSetIDFromScopedName(const ORQSimPosition& root,
                                                   const ORQString& name, const char* separator,
                                                   const char* instance) {
    return CheckedSet(FindInKinds(kElementSetKinds, root, name, separator, instance));
}

ORQSimPosition ORQSrvGetNodeSetIDFromScopedName(const ORQSimPosition& root, const ORQString& name,
                                                const char* separator, const char* instance) {
    return CheckedSet(FindInKinds(kNodeSetKinds, root, name, separator, instance));
}

ORQSimPosition ORQSrvGetOrientationIDFromScopedName(const ORQSimPosition& root,
                                                    const ORQString& name, const char* separator,
                                                    const char* instance) {
    return FindInKinds(kOrientationKinds, root, name, separator, instance);
}

ORQSimPosition ORQSrvGetSurfaceIDFromScopedName(const ORQSimPosition& root, const ORQString& name,
                                                const char* separator, const char* instance) {
    return FindInKinds(kSurfaceKinds, root, name, separator, instance);
}

// --- From objects to names -----------------------------------------------------------------------

ORQString ORQSrvGetReferenceKey(const ORQSimPosition& object) {
    for (const std::span<const int> kinds :
         {std::span<const int>(kElementSetKinds), std::span<const int>(kNodeSetKinds),
          std::span<const int>(kSurfaceKinds), std::span<const int>(kOrientationKinds)}) {
        if (ORQString key = KeyInKinds(kinds, object); !key.IsEmpty()) {
            return key;
        }
    }
    return {};
}

ORQString ORQSrvGetElementSetNameFromCSetID(const ORQSimCSetID& set) {
    return KeyInKinds(kElementSetKinds, set);
}

ORQString ORQSrvGetNodeSetNameFromCSetID(const ORQSimCSetID& set) {
    return KeyInKinds(kNodeSetKinds, set);
}

ORQString ORQSrvGetSurfaceNameFromID(const ORQSimDynamicID& surface) {
    return KeyInKinds(kSurfaceKinds, surface);
}
