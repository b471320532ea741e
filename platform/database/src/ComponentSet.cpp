#include "ComponentSet.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <string>
#include <utility>

#include "ORQBasFailure.h"

namespace orq::database {

namespace {

ComponentSetPtr Make(ComponentSet::Form form, int first, int count, int stride, int block) {
    return std::make_shared<const ComponentSet>(form, first, count, stride, block,
                                                std::vector<int>());
}

ComponentSetPtr WrittenOut(ComponentSet::Form form, std::vector<int> members) {
    const int first = members.front();
    return std::make_shared<const ComponentSet>(form, first, 0, 1, 1, std::move(members));
}

bool IsStrictlyAscending(const std::vector<int>& members) {
    return std::ranges::adjacent_find(members, std::greater_equal<>()) == members.end();
}

// The members in ascending order, each once.
std::vector<int> SortedOnce(std::vector<int> members) {
    if (members.empty()) {
        return members;
    }
    int low = members.front();
    int high = low;
    for (const int member : members) {
        low = std::min(low, member);
        high = std::max(high, member);
    }
    const std::int64_t span = static_cast<std::int64_t>(high) - low + 1;
    constexpr std::int64_t kWordBits = 64;
    // 32 bits, one member's size, for each member: beyond that the bits below would take more room
    // than the members.
    if (span > 32 * static_cast<std::int64_t>(members.size())) {
        std::ranges::sort(members);
        members.erase(std::unique(members.begin(), members.end()), members.end());
        return members;
    }
    // The numbers lie close together: a bit for each number of the span takes no more room than
    // they do.
    std::vector<std::uint64_t> bits(static_cast<std::size_t>((span + kWordBits - 1) / kWordBits));
    for (const int member : members) {
        const std::int64_t offset = static_cast<std::int64_t>(member) - low;
        bits[static_cast<std::size_t>(offset / kWordBits)] |= std::uint64_t{1}
                                                              << (offset % kWordBits);
    }
    auto end = members.begin();
    for (std::int64_t first = low; std::uint64_t word : bits) {
        for (; word != 0; word &= word - 1) {
            *end++ = static_cast<int>(first + std::countr_zero(word));
        }
        first += kWordBits;
    }
    members.erase(end, members.end());
    return members;
}

// The members as an ascending array, written out into `scratch` where they are not yet.
std::span<const int> AsSorted(const ComponentSet& set, std::vector<int>& scratch) {
    if (set.GetForm() == ComponentSet::Form::Sorted) {
        return set.Written();
    }
    scratch.resize(static_cast<std::size_t>(set.Size()));
    set.CopyMembers(scratch.data());
    if (!set.IsAscending()) {
        scratch = SortedOnce(std::move(scratch));
    }
    return scratch;
}

bool IsContiguous(const ComponentSet& set) {
    return set.GetForm() == ComponentSet::Form::Contiguous;
}

// Behind the last member of a contiguous set.
std::int64_t EndOf(const ComponentSet& set) {
    return static_cast<std::int64_t>(set.First()) + set.Size();
}

// The part of an ascending set that lies in [low, high).
ComponentSetPtr Clip(const ComponentSetPtr& set, std::int64_t low, std::int64_t high) {
    if (set->Lowest() >= low && set->Highest() < high) {
        return set;
    }
    if (set->Lowest() >= high || set->Highest() < low) {
        return ComponentSet::Empty();
    }
    if (IsContiguous(*set)) {
        const std::int64_t from = std::max<std::int64_t>(low, set->First());
        const std::int64_t to = std::min(high, EndOf(*set));
        return ComponentSet::Contiguous(static_cast<int>(from), static_cast<int>(to - from));
    }
    if (set->GetForm() == ComponentSet::Form::Strided && set->Block() == 1) {
        const auto stride = static_cast<std::int64_t>(set->Stride());
        const std::int64_t first = set->First();
        const auto rank = [&](std::int64_t bound) {  // how many members lie below the bound
            return std::clamp<std::int64_t>((bound - first + stride - 1) / stride, 0, set->Size());
        };
        const std::int64_t from = low <= first ? 0 : rank(low);
        const std::int64_t to = rank(high);
        return ComponentSet::Strided(static_cast<int>(first + from * stride),
                                     static_cast<int>(std::max<std::int64_t>(0, to - from)),
                                     set->Stride(), 1);
    }
    std::vector<int> scratch;
    const std::span<const int> members = AsSorted(*set, scratch);
    const auto from = std::ranges::lower_bound(members, low);
    const auto to = std::ranges::lower_bound(members, high);
    return ComponentSet::FromAscending({from, to});
}

// The merges advance without branches on the data: which side moves is unpredictable.
template <class Step>
std::vector<int> Merge(std::span<const int> a, std::span<const int> b, std::size_t mostResults,
                       Step step) {
    // A place more than results: each step writes, and only then counts what it keeps.
    std::vector<int> out(mostResults + 1);
    std::size_t i = 0;
    std::size_t j = 0;
    std::size_t n = 0;
    while (i < a.size() && j < b.size()) {
        step(a[i], b[j], out[n], n);
        const bool moveA = a[i] <= b[j];
        const bool moveB = b[j] <= a[i];
        i += moveA;
        j += moveB;
    }
    out.resize(n);
    return out;
}

}  // namespace

ComponentSet::ComponentSet(Form form, int first, int count, int stride, int block,
                           std::vector<int> members)
    : m_form(form),
      m_first(first),
      m_stride(stride),
      m_block(block),
      m_size(form >= Form::Sorted ? static_cast<int>(members.size()) : count * block),
      m_members(std::move(members)) {}

ComponentSetPtr ComponentSet::Empty() {
    static const ComponentSetPtr empty = Make(Form::Contiguous, 0, 0, 1, 1);
    return empty;
}

ComponentSetPtr ComponentSet::Contiguous(int first, int count) {
    return count > 0 ? Make(Form::Contiguous, first, count, 1, 1) : Empty();
}

ComponentSetPtr ComponentSet::Strided(int first, int count, int stride, int block) {
    const auto span = (static_cast<std::int64_t>(count) - 1) * stride + block - 1;
    if (count < 0 || block < 0 || (count > 1 && stride < block) || span > INT32_MAX ||
        first + span > INT32_MAX || static_cast<std::int64_t>(count) * block > INT32_MAX) {
        ORQBasThrowUsage("a strided set of first " + std::to_string(first) + ", count " +
                         std::to_string(count) + ", stride " + std::to_string(stride) + ", block " +
                         std::to_string(block) +
                         ": counts must not be negative, blocks not overlap, members "
                         "fit 32 bits");
    }
    // One form for each sequence: SameSequence and Hash compare forms, not members.
    if (count <= 1 || block == 0 || stride == block) {
        return Contiguous(first, count * block);
    }
    return Make(Form::Strided, first, count, stride, block);
}

ComponentSetPtr ComponentSet::FromAscending(std::vector<int> members) {
    if (members.empty()) {
        return Empty();
    }
    const auto n = static_cast<std::int64_t>(members.size());
    const std::int64_t span = static_cast<std::int64_t>(members.back()) - members.front();
    // Ascending and each once, so the outermost two say whether all between them are there.
    if (span == n - 1) {
        return Contiguous(members.front(), static_cast<int>(n));
    }
    // Blocks of equal size at equal distances? Most sets that are not differ among their first.
    std::size_t block = 1;
    while (members[block] == std::int64_t{members[block - 1]} + 1) {
        ++block;
    }
    const std::int64_t stride = static_cast<std::int64_t>(members[block]) - members[0];
    const auto nBlocks = n / static_cast<std::int64_t>(block);
    if (span <= INT32_MAX && members.size() % block == 0 &&
        span == (nBlocks - 1) * stride + static_cast<std::int64_t>(block) - 1) {
        std::size_t i = block;
        while (i < members.size() && members[i] - members[i - block] == stride) {
            ++i;
        }
        if (i == members.size()) {
            return Strided(members.front(), static_cast<int>(nBlocks), static_cast<int>(stride),
                           static_cast<int>(block));
        }
    }
    // Sets are kept for long, and this one came of a vector that has grown.
    members.shrink_to_fit();
    return WrittenOut(Form::Sorted, std::move(members));
}

ComponentSetPtr ComponentSet::FromMembers(std::vector<int> members) {
    return FromAscending(IsStrictlyAscending(members) ? std::move(members)
                                                      : SortedOnce(std::move(members)));
}

ComponentSetPtr ComponentSet::FromOrdered(std::vector<int> members) {
    if (IsStrictlyAscending(members)) {
        return FromAscending(std::move(members));
    }
    // Tested on a copy, since an ordered set keeps its members in the order in which they are
    // given.
    if (SortedOnce(members).size() < members.size()) {
        std::ranges::sort(members);
        const auto twice = std::ranges::adjacent_find(members);
        ORQBasThrowUsage("an ordered set names member " + std::to_string(*twice) +
                         " more than once");
    }
    return WrittenOut(Form::Ordered, std::move(members));
}

int ComponentSet::Lowest() const {
    if (m_form == Form::Ordered) {
        BuildIndex();
        return m_lowest;
    }
    return At(0);
}

int ComponentSet::Highest() const {
    return m_form == Form::Ordered ? *std::ranges::max_element(m_members) : At(m_size - 1);
}

int ComponentSet::Seek(int member) const {
    switch (m_form) {
        case Form::Contiguous: {
            const std::int64_t location = static_cast<std::int64_t>(member) - m_first;
            return location >= 0 && location < m_size ? static_cast<int>(location) : -1;
        }
        case Form::Strided: {
            const std::int64_t offset = static_cast<std::int64_t>(member) - m_first;
            const std::int64_t inBlock = offset % m_stride;
            const std::int64_t location = offset / m_stride * m_block + inBlock;
            return offset >= 0 && inBlock < m_block && location < m_size
                       ? static_cast<int>(location)
                       : -1;
        }
        case Form::Sorted: {
            const auto found = std::ranges::lower_bound(m_members, member);
            return found != m_members.end() && *found == member
                       ? static_cast<int>(found - m_members.begin())
                       : -1;
        }
        default:
            break;
    }
    BuildIndex();
    if (m_isDense) {
        const std::int64_t place = static_cast<std::int64_t>(member) - m_lowest;
        return place >= 0 && place < static_cast<std::int64_t>(m_locations.size())
                   ? m_locations[static_cast<std::size_t>(place)]
                   : -1;
    }
    const auto found = std::ranges::lower_bound(m_locations, member, {}, [this](int at) {
        return m_members[static_cast<std::size_t>(at)];
    });
    return found != m_locations.end() && At(*found) == member ? *found : -1;
}

void ComponentSet::BuildIndex() const {
    if (!m_locations.empty()) {
        return;
    }
    const auto [low, high] = std::ranges::minmax(m_members);
    m_lowest = low;
    const std::int64_t span = static_cast<std::int64_t>(high) - low + 1;
    // A table by member is quickest, and takes at most four times the members' room; else locations
    // are sorted by their member.
    m_isDense = span <= 4 * static_cast<std::int64_t>(m_members.size());
    if (m_isDense) {
        m_locations.assign(static_cast<std::size_t>(span), -1);
        for (std::size_t i = 0; i < m_members.size(); ++i) {
            m_locations[static_cast<std::size_t>(m_members[i] - low)] = static_cast<int>(i);
        }
    } else {
        m_locations.resize(m_members.size());
        std::iota(m_locations.begin(), m_locations.end(), 0);
        std::ranges::sort(m_locations, {},
                          [this](int at) { return m_members[static_cast<std::size_t>(at)]; });
    }
}

int ComponentSet::Seeker::Seek(int member) {
    if (m_set.m_form != Form::Sorted) {
        return m_set.Seek(member);
    }
    // Gallops from the last place: ascending lookups cost the logarithm of their distance.
    const std::vector<int>& members = m_set.m_members;
    std::size_t low = m_hint < members.size() && members[m_hint] <= member ? m_hint : 0;
    std::size_t step = 1;
    while (low + step < members.size() && members[low + step] <= member) {
        low += step;
        step *= 2;
    }
    const auto end =
        members.begin() + static_cast<std::ptrdiff_t>(std::min(low + step, members.size()));
    const auto begin = members.begin() + static_cast<std::ptrdiff_t>(low);
    const auto found = std::lower_bound(begin, end, member);
    m_hint = static_cast<std::size_t>(found - members.begin());
    return found != end && *found == member ? static_cast<int>(m_hint) : -1;
}

ComponentSetPtr ComponentSet::Ascending(const ComponentSetPtr& self) {
    if (self->IsAscending()) {
        return self;
    }
    return FromAscending(SortedOnce(self->m_members));
}

void ComponentSet::CopyMembers(int* out) const {
    if (m_form >= Form::Sorted) {
        std::ranges::copy(m_members, out);
        return;
    }
    ForEachRun([&](int location, int first, int count) {
        for (int i = 0; i < count; ++i) {
            out[location + i] = first + i;
        }
    });
}

bool ComponentSet::SameSequence(const ComponentSet& other) const {
    return m_form == other.m_form && m_size == other.m_size &&
           (m_size == 0 || (m_first == other.m_first && m_stride == other.m_stride &&
                            m_block == other.m_block && m_members == other.m_members));
}

std::uint64_t ComponentSet::Hash() const {
    if (m_form >= Form::Sorted) {
        return XXH3_64bits(m_members.data(), m_members.size() * sizeof(int));
    }
    const std::array<int, 4> parts = {m_first, m_size, m_stride, m_block};
    return XXH3_64bits(parts.data(), sizeof parts);
}

ComponentSetPtr ComponentSet::Union(const ComponentSetPtr& a, const ComponentSetPtr& b) {
    if (b->IsEmpty() || a == b) {
        return Ascending(a);
    }
    if (a->IsEmpty()) {
        return Ascending(b);
    }
    // Runs that meet are one run, without writing a member down: appends of whole ranges stay
    // cheap.
    if (IsContiguous(*a) && IsContiguous(*b)) {
        const std::int64_t endA = EndOf(*a);
        const std::int64_t endB = EndOf(*b);
        if (a->m_first <= endB && b->m_first <= endA) {
            const int first = std::min(a->m_first, b->m_first);
            return Contiguous(first, static_cast<int>(std::max(endA, endB) - first));
        }
    }
    std::vector<int> scratchA;
    std::vector<int> scratchB;
    const std::span<const int> x = AsSorted(*a, scratchA);
    const std::span<const int> y = AsSorted(*b, scratchB);
    std::vector<int> out;
    if (x.back() < y.front() || y.back() < x.front()) {
        const bool aFirst = x.back() < y.front();
        out.reserve(x.size() + y.size());
        out.assign((aFirst ? x : y).begin(), (aFirst ? x : y).end());
        out.insert(out.end(), (aFirst ? y : x).begin(), (aFirst ? y : x).end());
    } else {
        out = Merge(x, y, x.size() + y.size(), [](int m, int n, int& place, std::size_t& size) {
            place = std::min(m, n);
            ++size;
        });
        // What is above the shorter one's highest member.
        const int highest = std::min(x.back(), y.back());
        const std::span<const int> longer = x.back() > y.back() ? x : y;
        out.insert(out.end(), std::ranges::upper_bound(longer, highest), longer.end());
    }
    return FromAscending(std::move(out));
}

ComponentSetPtr ComponentSet::Intersection(const ComponentSetPtr& a, const ComponentSetPtr& b) {
    if (a->IsEmpty() || b->IsEmpty()) {
        return Empty();
    }
    if (a == b) {
        return Ascending(a);
    }
    if (IsContiguous(*b)) {
        return Clip(Ascending(a), b->m_first, EndOf(*b));
    }
    if (IsContiguous(*a)) {
        return Clip(Ascending(b), a->m_first, EndOf(*a));
    }
    std::vector<int> scratchA;
    std::vector<int> scratchB;
    const std::span<const int> x = AsSorted(*a, scratchA);
    const std::span<const int> y = AsSorted(*b, scratchB);
    return FromAscending(
        Merge(x, y, std::min(x.size(), y.size()), [](int m, int n, int& place, std::size_t& size) {
            place = m;
            size += m == n;
        }));
}

ComponentSetPtr ComponentSet::Difference(const ComponentSetPtr& a, const ComponentSetPtr& b) {
    if (a->IsEmpty() || a == b) {
        return Empty();
    }
    if (b->IsEmpty()) {
        return Ascending(a);
    }
    if (IsContiguous(*b)) {
        const ComponentSetPtr ascending = Ascending(a);
        ComponentSetPtr below = Clip(ascending, ascending->Lowest(), b->m_first);
        const std::int64_t end = EndOf(*b);
        if (end > ascending->Highest()) {
            return below;
        }
        return Union(below, Clip(ascending, end, std::int64_t{INT32_MAX} + 1));
    }
    std::vector<int> scratchA;
    std::vector<int> scratchB;
    const std::span<const int> x = AsSorted(*a, scratchA);
    const std::span<const int> y = AsSorted(*b, scratchB);
    std::vector<int> out = Merge(x, y, x.size(), [](int m, int n, int& place, std::size_t& size) {
        place = m;
        size += m < n;
    });
    // Where b ends first, the merge has not reached what is above it.
    out.insert(out.end(), std::ranges::upper_bound(x, y.back()), x.end());
    return FromAscending(std::move(out));
}

}  // namespace orq::database
