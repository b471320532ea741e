#include "ObjectPath.h"

#include <set>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimSchema.h"

namespace orq::database {

using storage::ChildRow;
using storage::DataSetRow;
using storage::MapEntryRow;
using storage::NameRow;
using storage::SetEntryRow;
using storage::VectorEntryRow;

namespace {

// Bounds the search for a name in a message: an object may have millions of referrers.
constexpr std::size_t kMostSeen = 2000;

// "nodes" of the slot Mesh_nodes.
std::string SlotName(int slot) {
    const std::string name = ORQSimSchema::NameOf(slot);
    return name.substr(name.find('_') + 1);
}

std::string OwnName(DatabaseState& state, std::int64_t object) {
    auto name = state.Rows().Find<NameRow>(object);
    return name.Next() ? "\"" + std::string(name->text) + "\"" : "";
}

// The key of a link among those of its slot; empty where the slot holds one link.
std::string KeyName(const ChildRow& link) {
    return link.key == 0 ? "" : "[" + std::to_string(link.key) + "]";
}
std::string KeyName(const MapEntryRow& link) {
    return " \"" + std::string(link.key) + "\"";
}
std::string KeyName(const VectorEntryRow& link) {
    return "[" + std::to_string(link.key) + "]";
}
std::string KeyName(const SetEntryRow&) {
    return "";
}

// A step along a link: the slot, and the key or the name of the target.
template <class Link>
std::string StepName(DatabaseState& state, std::int64_t target, const Link& link) {
    std::string key = KeyName(link);
    if (key.empty()) {
        const std::string own = OwnName(state, target);
        key = own.empty() ? "" : " " + own;
    }
    return SlotName(link.slot) + key;
}

// Searches from an object up to the focus, nearest owners first.
class PathSearch {
  public:
    explicit PathSearch(DatabaseState& state) : m_state(state) {}

    // The steps from the focus; empty where none are found. `index` is that of the object's
    // identity.
    std::string Run(std::int64_t object, int index) {
        m_ways = {{object, ""}};
        for (std::size_t next = 0; next < m_ways.size() && next < kMostSeen && m_path.empty();
             ++next) {
            // A copy, since following it moves the list.
            const Way way = m_ways[next];
            // Only the object itself may be a set of a collection; what leads to it is an object.
            const int target = next == 0 ? index : 0;
            FollowLinks<ChildRow>(way, target);
            FollowLinks<MapEntryRow>(way, target);
            FollowLinks<VectorEntryRow>(way, target);
            FollowLinks<SetEntryRow>(way, target);
            FollowDataSets(way);
        }
        return m_path;
    }

  private:
    // A path that ends at the object in question: where it begins, and its steps.
    struct Way {
        std::int64_t object;
        std::string rest;  // all steps from `object` to the end
    };

    template <class Link>
    void FollowLinks(const Way& way, int index) {
        if (!m_path.empty()) {
            return;
        }
        for (const Link& link : m_state.Rows().FindBy<Link::kByTarget>(way.object, index)) {
            std::string rest =
                StepName(m_state, way.object, link) + (way.rest.empty() ? "" : " / " + way.rest);
            if (link.object == kFocus) {
                m_path = std::move(rest);
                return;
            }
            if (m_seen.insert(link.object).second && m_seen.size() <= kMostSeen) {
                m_ways.push_back({link.object, std::move(rest)});
            }
        }
    }

    // A distribution is often known by the data set that stands on it alone.
    void FollowDataSets(const Way& way) {
        if (!m_path.empty()) {
            return;
        }
        for (const DataSetRow& set : m_state.Rows().Find<DataSetRow>()) {
            if (set.distribution == way.object && m_seen.insert(set.object).second) {
                m_ways.push_back({set.object, way.rest});
            }
        }
    }

    DatabaseState& m_state;
    std::vector<Way> m_ways;
    std::set<std::int64_t> m_seen;
    std::string m_path;
};

}  // namespace

std::string NameInMessage(DatabaseState& state, std::int64_t object) {
    std::string number = "object " + std::to_string(object);
    if (object == kFocus) {
        return number + " (the focus)";
    }
    try {
        std::string name = PathSearch(state).Run(object, 0);
        name = name.empty() ? OwnName(state, object) : name;
        return name.empty() ? number : number + " (" + name + ")";
    } catch (const ORQBasFailure&) {
        return number;  // the links are damaged themselves
    }
}

std::string NameInMessage(DatabaseState& state, std::int64_t collection, int set) {
    std::string number = "set " + std::to_string(set);
    try {
        const std::string name = PathSearch(state).Run(collection, set);
        return name.empty() ? number + " of " + NameInMessage(state, collection)
                            : number + " (" + name + ")";
    } catch (const ORQBasFailure&) {
        return number;
    }
}

}  // namespace orq::database
