#include "edit/DrawerCopy.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_set>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQSimTransfer.h"
#include "edit/SparseDrawer.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

// Bounds the memory of a copy.
constexpr std::int64_t kBytesAtOnce = std::int64_t{16} << 20;

std::vector<int> MembersOf(const ORQSimCSet& set) {
    std::vector<int> members(static_cast<std::size_t>(set.Size()));
    set.OrderedMembers(members.data());
    return members;
}

/// The members along one dimension of a drawer, in the former and in the new collection.
struct Axis {
    ORQSimCollection former;
    ORQSimCollection latter;
    std::vector<int> members;
    std::vector<int> newMembers;

    int Size() const { return static_cast<int>(members.size()); }
    ORQSimCSet From(int begin, int end) const {
        return OrdinalSet(former,
                          std::span(members).subspan(static_cast<std::size_t>(begin),
                                                     static_cast<std::size_t>(end - begin)));
    }
    ORQSimCSet To(int begin, int end) const {
        return OrdinalSet(latter, std::span(newMembers)
                                      .subspan(static_cast<std::size_t>(begin),
                                               static_cast<std::size_t>(end - begin)));
    }
};

/// The axis of members: those that stay have the same row, others none.
Axis MemberAxis(const DrawerCopy& copy, const ORQSimCSet& set) {
    Axis axis{copy.former, copy.latter, {}, {}};
    for (const int member : MembersOf(set)) {
        const int target = copy.numbering.targets[static_cast<std::size_t>(member)];
        if (target >= 0 && copy.numbering.kept[static_cast<std::size_t>(target)] == member) {
            axis.members.push_back(member);
            axis.newMembers.push_back(target);
        }
    }
    return axis;
}

/// A piece of a drawer: of each axis the members [begin, end).
using Piece = std::vector<std::pair<int, int>>;

/// Pieces of some megabytes: whole along all axes but two, the first one and that of the members.
std::vector<Piece> PiecesOf(const std::vector<Axis>& axes, std::size_t ofMembers, int scalarSize) {
    Piece whole;
    std::int64_t rowSize = scalarSize;
    for (std::size_t i = 0; i < axes.size(); ++i) {
        whole.emplace_back(0, axes[i].Size());
        rowSize *= i == 0 ? 1 : axes[i].Size();
    }
    const auto stepOf = [&](std::int64_t bytesOfOne, int size) {
        return static_cast<int>(std::clamp<std::int64_t>(
            kBytesAtOnce / std::max<std::int64_t>(1, bytesOfOne), 1, std::max(1, size)));
    };
    const int rows = stepOf(rowSize, axes[0].Size());
    const int members = ofMembers == 0 || rowSize <= kBytesAtOnce
                            ? axes[ofMembers].Size()
                            : stepOf(rowSize / axes[ofMembers].Size(), axes[ofMembers].Size());
    std::vector<Piece> pieces;
    for (int row = 0; row < axes[0].Size(); row += rows) {
        whole[0] = {row, std::min(row + rows, axes[0].Size())};
        if (ofMembers == 0) {
            pieces.push_back(whole);
            continue;
        }
        for (int member = 0; member < axes[ofMembers].Size(); member += members) {
            whole[ofMembers] = {member, std::min(member + members, axes[ofMembers].Size())};
            pieces.push_back(whole);
        }
    }
    return pieces;
}

ORQSimDrawerID MakeLike(const ORQSimDrawerDescription& drawer, const ORQSimDistribution& to,
                        const std::vector<Axis>& axes) {
    ORQSimTransfer make(to);
    make.SetWrite();
    if (drawer.IsChunked()) {
        ORQSimArray<int> chunks;
        drawer.ChunkSizes(chunks);
        make.SetMakeNewDrawerChunked(chunks).SetExtendableDim(drawer.ExtendableDim());
    } else {
        make.SetMakeNewDrawer();
    }
    for (std::size_t i = 0; i < axes.size(); ++i) {
        make.SetDim(static_cast<int>(i), axes[i].To(0, axes[i].Size()));
    }
    make.ExecMake();
    return make.DrawerID();
}

}  // namespace

std::vector<int> NewMembers(const MemberNumbering& numbering, const ORQSimCSet& set) {
    std::vector<int> members;
    for (const int member : MembersOf(set)) {
        const int target = numbering.targets[static_cast<std::size_t>(member)];
        if (target >= 0) {
            members.push_back(target);
        }
    }
    // Few sets have a member twice now; a sorted copy shows it for less than a set of those seen.
    std::vector<int> sorted = members;
    std::ranges::sort(sorted);
    if (std::ranges::adjacent_find(sorted) != sorted.end()) {
        std::unordered_set<int> seen;
        std::erase_if(members, [&](int member) { return !seen.insert(member).second; });
    }
    return members;
}

void DrawerCopy::Run() const {
    for (const ORQSimDrawerDescription& drawer : from.QueryDrawers()) {
        drawer.Layout() == ORQSimDrawerLayout::Sparse ? CopySparse(drawer) : CopyDense(drawer);
    }
}

void DrawerCopy::FollowReferences(std::vector<int>& references) const {
    for (int& reference : references) {
        reference =
            reference < 0 ? reference : numbering.targets[static_cast<std::size_t>(reference)];
    }
}

void DrawerCopy::CopyDense(const ORQSimDrawerDescription& drawer) const {
    std::vector<Axis> axes;
    std::size_t ofMembers = 0;
    for (int i = 0; i < drawer.NumDimensions(); ++i) {
        const ORQSimCSet set(drawer.CSet(i));
        if (from.Grid().Collection(i) == former.ID()) {
            ofMembers = axes.size();
            axes.push_back(MemberAxis(*this, set));
        } else {
            const ORQSimCollection same(from.Grid().Collection(i));
            axes.push_back({same, same, MembersOf(set), MembersOf(set)});
        }
        if (axes.back().members.empty()) {
            return;
        }
    }
    const ORQSimDrawerID made = MakeLike(drawer, to, axes);
    const bool areMembers = from.RangeType().Collection() == former.ID();
    const auto size = static_cast<std::size_t>(ORQSimScalarSize(from.RangeType().ScalarType()));
    std::vector<int> values;  // Ints, so that references are in place; other values are bytes here.
    for (const Piece& piece : PiecesOf(axes, ofMembers, static_cast<int>(size))) {
        ORQSimTransfer read(from);
        ORQSimTransfer write(to);
        read.SetRead().SetDrawer(drawer.DrawerID());
        write.SetWrite().SetDrawer(made);
        std::size_t count = 1;
        for (std::size_t i = 0; i < axes.size(); ++i) {
            const auto [begin, end] = piece[i];
            read.SetDim(static_cast<int>(i), axes[i].From(begin, end));
            write.SetDim(static_cast<int>(i), axes[i].To(begin, end));
            count *= static_cast<std::size_t>(end - begin);
        }
        values.resize((count * size + sizeof(int) - 1) / sizeof(int));
        const auto nBytes = static_cast<std::int64_t>(count * size);
        read.SetBuffer(ORQSimbufMain, values.data(), nBytes).ExecRead();
        if (areMembers) {
            FollowReferences(values);
        }
        write.SetBuffer(ORQSimbufMain, std::as_const(values).data(), nBytes).ExecWrite();
        goOn();
    }
}

/// Values of nodes that become one add up: of nodal areas each has its part.
void DrawerCopy::CopySparse(const ORQSimDrawerDescription& drawer) const {
    if (from.Grid().Collection(1) != former.ID()) {
        ORQBasThrowUsage("sparse values follow their columns only, and these are other ones");
    }
    SparseDrawer all = ReadSparse(from, drawer);
    for (std::vector<SparseDrawer::Cell>& row : all.cells) {
        std::map<int, double> sums;
        for (const auto& [node, value] : row) {
            if (const int target = numbering.targets[static_cast<std::size_t>(node)]; target >= 0) {
                sums[target] += value;
            }
        }
        row.assign(sums.begin(), sums.end());
    }
    WriteSparse(all, to);
    goOn();
}

}  // namespace orq::exchange
