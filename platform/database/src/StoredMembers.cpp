#include "StoredMembers.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "FlatArray.h"
#include "ORQBasFailure.h"

namespace orq::database {

namespace {

// More members than these make rows that SQLite reads slowly; fewer are not worth a page of bulk
// data. Readers go by what a row says.
constexpr std::size_t kMostInRow = 1024;

}  // namespace

storage::StoredMembers WriteMembers(storage::Store& store, const ComponentSet& members) {
    storage::StoredMembers stored{static_cast<int>(members.GetForm()),
                                  members.First(),
                                  members.Count(),
                                  members.Stride(),
                                  members.Block(),
                                  0,
                                  {}};
    const storage::Bytes bytes = std::as_bytes(members.Written());
    if (members.Written().size() > kMostInRow) {
        stored.store = store.NewObject();
        PutFlatArray(store.Chunks(), stored.store, 0, bytes);
    } else {
        stored.written = bytes;
    }
    return stored;
}

namespace {

ComponentSetPtr MembersOf(storage::Store& store, const storage::StoredMembers& stored) {
    const auto require = [&](bool holds, const char* otherwise) {
        if (!holds) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                store.Path() + ": the members of a set " + otherwise);
        }
    };
    const auto requireRange = [&](std::int64_t last) {
        require(last <= std::numeric_limits<int>::max(), "are numbers out of range");
    };
    const auto form = static_cast<ComponentSet::Form>(stored.form);
    const std::int64_t count = stored.count;
    if (form == ComponentSet::Form::Contiguous) {
        requireRange(stored.first + count - 1);
        return ComponentSet::Contiguous(stored.first, stored.count);
    }
    if (form == ComponentSet::Form::Strided) {
        require(stored.block > 0 && stored.stride >= stored.block, "overlap");
        requireRange(stored.first + (count - 1) * stored.stride + stored.block - 1);
        return ComponentSet::Strided(stored.first, stored.count, stored.stride, stored.block);
    }
    // Compared before memory is taken for them: a row may say any number.
    const std::int64_t size = count * static_cast<std::int64_t>(sizeof(int));
    require(stored.store != 0 ? HasFlatArray(store.Chunks(), stored.store, 0, size)
                              : std::ssize(stored.written) == size,
            "are not as many as stored");
    std::vector<int> members(static_cast<std::size_t>(count));
    const std::span<std::byte> out = std::as_writable_bytes(std::span(members));
    if (stored.store == 0) {
        std::ranges::copy(stored.written, out.begin());
    } else {
        require(GetFlatArray(store.Chunks(), stored.store, 0, 0, out), "are missing");
    }
    if (form == ComponentSet::Form::Sorted) {
        require(std::ranges::adjacent_find(members, std::greater_equal<>()) == members.end(),
                "are not ascending");
        return ComponentSet::FromAscending(std::move(members));
    }
    return ComponentSet::FromOrdered(std::move(members));
}

}  // namespace

ComponentSetPtr ReadMembers(storage::Store& store, const storage::StoredMembers& stored) {
    try {
        return MembersOf(store, stored);
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Usage) {
            throw;
        }
        // What nobody could have given is not what was stored.
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            store.Path() + ": stored members: " + failure.Text());
    }
}

}  // namespace orq::database
