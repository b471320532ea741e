#include "ObjectPath.h"

#include <set>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimSchema.h"

namespace orq::database {

using storage::Cursor;
using storage::Index;

namespace {

// Ways are looked for from the object upwards, as far as they are few.
constexpr std::size_t kMostSeen = 2000;

// "nodes" of the slot Mesh_nodes.
std::string SlotName(int slot) {
    const std::string name = ORQSimSchema::NameOf(slot);
    return name.substr(name.find('_') + 1);
}

std::string OwnName(DatabaseState& state, std::int64_t object) {
    Cursor name = state.Rows().Find(storage::Table::Name, object);
    return name.Next() ? "\"" + std::string(name.Text(2)) + "\"" : "";
}

// Of a link by the slot, and what tells it from others of that: its key, its place, or the name of
// what it leads to.
std::string StepName(DatabaseState& state, std::int64_t target, Index index, const Cursor& link) {
    std::string name = SlotName(link.Int32(1));
    if (index == Index::MapEntryByTarget) {
        name += " \"" + std::string(link.Text(2)) + "\"";
    } else if (index == Index::VectorEntryByTarget ||
               (index == Index::ChildByTarget && link.Int(2) != 0)) {
        name += "[" + std::to_string(link.Int(2)) + "]";
    } else if (const std::string own = OwnName(state, target); !own.empty()) {
        name += " " + own;
    }
    return name;
}

// How to come to an object: from which one, by what.
struct Way {
    std::int64_t object;
    std::string rest;  // all steps from `object` to the end
};

std::string PathFromFocus(DatabaseState& state, std::int64_t object, int index) {
    std::vector<Way> ways = {{object, ""}};
    std::set<std::int64_t> seen;
    for (std::size_t next = 0; next < ways.size() && next < kMostSeen; ++next) {
        const Way way = ways[next];
        for (const Index by : {Index::ChildByTarget, Index::MapEntryByTarget,
                               Index::VectorEntryByTarget, Index::SetEntryByTarget}) {
            for (Cursor link = state.Rows().FindBy(by, way.object, next == 0 ? index : 0);
                 link.Next();) {
                const std::int64_t owner = link.Int(0);
                std::string rest = StepName(state, way.object, by, link) +
                                   (way.rest.empty() ? "" : " / " + way.rest);
                if (owner == kFocus) {
                    return rest;
                }
                if (!seen.insert(owner).second || seen.size() > kMostSeen) {
                    continue;
                }
                ways.push_back({owner, std::move(rest)});
            }
        }
        // A distribution is often known by the data set that stands on it alone.
        for (Cursor set = state.Rows().Find(storage::Table::DataSet); set.Next();) {
            if (set.Int(1) == way.object && seen.insert(set.Int(0)).second) {
                ways.push_back({set.Int(0), way.rest});
            }
        }
    }
    return "";
}

}  // namespace

std::string NameInMessage(DatabaseState& state, std::int64_t object) {
    std::string number = "object " + std::to_string(object);
    if (object == kFocus) {
        return number + " (the focus)";
    }
    try {
        std::string name = PathFromFocus(state, object, 0);
        name = name.empty() ? OwnName(state, object) : name;
        return name.empty() ? number : number + " (" + name + ")";
    } catch (const ORQBasFailure&) {
        return number;  // the links are damaged themselves
    }
}

std::string NameInMessage(DatabaseState& state, std::int64_t collection, int set) {
    std::string number = "set " + std::to_string(set);
    try {
        const std::string name = PathFromFocus(state, collection, set);
        return name.empty() ? number + " of " + NameInMessage(state, collection)
                            : number + " (" + name + ")";
    } catch (const ORQBasFailure&) {
        return number;
    }
}

}  // namespace orq::database
