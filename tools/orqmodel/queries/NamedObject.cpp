#include "queries/NamedObject.h"

#include <fmt/format.h>

#include <set>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSrvFunctions.h"

namespace orqmodel {
namespace {

/// Whether a text begins with a quote that nothing closes. The lookup ends the process for such a
/// text, before it reads any map.
bool OpensQuote(const std::string& text) {
    return text.starts_with('"') && text.find('"', 1) == std::string::npos;
}

/// The object, when the name is one that the lookup takes.
ORQSimPosition LookUp(const ORQObjDocument& document, int map, const ScopedName& name) {
    if (OpensQuote(name.name) || OpensQuote(name.instance)) {
        return {};
    }
    const char* separator = name.separator.c_str();
    const char* instance = name.instance.c_str();
    // The lookup's retry also parses quotes within the name, and ends the process at an open one.
    const bool mayRetry = ORQSrvHasMatchedQuotes(name.name, separator, instance);
    return ORQSrvGetIDFromScopedName(document.Focus(), name.name, map, separator, instance,
                                     mayRetry);
}

/// The keys that a name can stand for as it is spelt.
std::set<std::string> KeysOf(const ORQObjDocument& document, const ScopedName& name) {
    ORQString lead =
        document.GetModel().DataRecord().ReturnString(ORQSimRecordField::Model_namePrefix);
    if (!lead.IsEmpty()) {
        lead.Append("_");
    }
    if (!name.instance.empty()) {
        return {lead.Append(name.instance.c_str()).Append("_").Append(name.name.c_str()).UTF8()};
    }
    ORQString joined(name.name);
    joined.ReplaceAll(name.separator.c_str(), "_");
    return {name.name, joined.UTF8(), lead.Append(joined).UTF8()};
}

/// The object under one of the keys, exactly or, if there is but one, in either case of letters.
ORQSimPosition FindByKey(const ORQObjDocument& document, std::span<const int> maps, int map,
                         const ScopedName& name) {
    // Keys in their own case come first, so that one in another case never hides them.
    const std::set<std::string> keys = KeysOf(document, name);
    for (const std::string& key : keys) {
        if (const ORQSimPosition object = document.GetModel().GetMap(map).Find(key);
            !object.IsNull()) {
            return object;
        }
    }
    std::set<std::string> folded;
    for (const std::string& key : keys) {
        folded.insert(WithoutCase(key));
    }
    ORQSimPosition found;
    int nFound = 0;
    for (const int any : maps) {
        const ORQSimMap entries = document.GetModel().GetMap(any);
        for (auto entry = entries.Begin(); entry.NotDone(); ++entry) {
            if (folded.contains(WithoutCase(entry.Key().UTF8()))) {
                ++nFound;
                found = any == map ? *entry : found;
            }
        }
    }
    return nFound == 1 ? found : ORQSimPosition();
}

/// Throws when the object is not what was wanted.
NamedObject Checked(const ORQObjDocument& document, const ORQSimPosition& object, int map,
                    bool wantsSet) {
    const std::string key = object.GetReferenceKey(map).UTF8();
    if (wantsSet && object.ID().Category() != ORQSimCategoryCSet) {
        throw ORQBasFailure(
            ORQBasFailureKind::Damaged,
            fmt::format("{}: {} stands for no set", document.Database().Path(), key));
    }
    return {object, key};
}

}  // namespace

NamedObject FindNamedObject(const ORQObjDocument& document, std::span<const int> maps,
                            bool wantsSet, const ScopedName& name) {
    for (const int map : maps) {
        if (const ORQSimPosition object = LookUp(document, map, name); !object.IsNull()) {
            return Checked(document, object, map, wantsSet);
        }
    }
    for (const int map : maps) {
        if (const ORQSimPosition object = FindByKey(document, maps, map, name); !object.IsNull()) {
            return Checked(document, object, map, wantsSet);
        }
    }
    if (!ORQSrvHasMatchedQuotes(name.name, name.separator.c_str(), name.instance.c_str())) {
        ORQBasThrowUsage(fmt::format("a quote is opened and not closed in name {} or instance {}",
                                     name.name, name.instance));
    }
    return {};
}

}  // namespace orqmodel
