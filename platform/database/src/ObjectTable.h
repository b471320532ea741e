#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ORQSimIDs.h"
#include "ORQSimSchema.h"
#include "storage/Rows.h"

namespace orq::database {

class DatabaseState;

/// The focus is the first object of every database; stored, do not change.
inline constexpr std::int64_t kFocus = 1;

/// The objects of a database: what they are, and which children hang on them.
class ObjectTable {
  public:
    explicit ObjectTable(DatabaseState& state) : m_state(state) {}

    /// Makes an object and returns its identity.
    ORQSimDynamicID New(int type, int category);
    /// The identity of an object by number; null when there is none.
    ORQSimDynamicID Find(std::int64_t object) const;
    /// The same of a collection; null for any other object.
    ORQSimCollectionID FindCollection(std::int64_t object) const {
        return ORQSimCollectionID(Find(object));
    }
    /// 0 where there is no such collection. Every transfer asks for those of its grid, so the last
    /// ones are known.
    int Space(const ORQSimCollectionID& collection);
    void SetSpace(const ORQSimCollectionID& collection, int space);
    ORQSimDynamicID Focus() const {
        return IdentityOf({kFocus, ORQSimCategoryRecord, ORQSimSchema::Focus, 0});
    }

    /// What a link leads to, as an identity and as it is stored.
    ORQSimDynamicID IdentityOf(const storage::Target& target) const;
    static storage::Target TargetOf(const ORQSimDynamicID& id) {
        return {id.MinorID(), id.Category(), id.TypeID().Index(), id.Index()};
    }

    /// The child under a slot; null when there is none. Services follow a few links again and
    /// again, above all from the focus to the mesh, so the last ones are known.
    ORQSimDynamicID Child(std::int64_t object, int slot, int member);
    /// A null target removes the link.
    void SetChild(std::int64_t object, int slot, int member, const ORQSimDynamicID& target);

    /// Forgets what was read of rows.
    void Forget() noexcept {
        m_children.fill({});
        m_spaces.fill({});
    }

  private:
    struct KnownChild {
        std::int64_t object = 0;  // 0 for none
        int slot = 0;
        int member = 0;
        ORQSimDynamicID target;
    };
    struct KnownSpace {
        std::int64_t collection = 0;  // 0 for none
        int space = 0;
    };
    KnownSpace& PlaceOfSpace(std::int64_t collection) {
        return m_spaces[static_cast<std::size_t>(collection) % m_spaces.size()];
    }
    KnownChild& PlaceOfChild(std::int64_t object, int slot, int member);

    DatabaseState& m_state;
    // Children by hash; the later of two takes the place. 64 are more links than a loop follows.
    std::array<KnownChild, 64> m_children;
    std::array<KnownSpace, 16> m_spaces;  // likewise
};

}  // namespace orq::database
