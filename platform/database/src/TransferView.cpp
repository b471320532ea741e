#include "TransferView.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "ORQBasFailure.h"
#include "storage/StreamedCopy.h"

namespace orq::database {

namespace {

// Whether two sets have no common member, as far as their bounds show it; those of a set in an order
// of its own would take a pass over it.
bool LieApart(const ComponentSet& a, const ComponentSet& b) {
    if (!a.IsAscending() || !b.IsAscending()) {
        return false;
    }
    return a.IsEmpty() || b.IsEmpty() || a.Highest() < b.Lowest() || b.Highest() < a.Lowest();
}

// Whether the view meets nothing of the drawer. A view of one layer meets one of many drawers with
// a layer or time each: the others are passed over before their members along another dimension,
// which may be millions, are looked at.
bool Misses(const std::vector<ComponentSetPtr>& view, const DrawerState& drawer) {
    const auto rowDim = static_cast<std::size_t>(drawer.RowDim());
    for (std::size_t dim = 0; dim < view.size(); ++dim) {
        if (dim != rowDim && LieApart(*view[dim], *drawer.sets[dim])) {
            return true;
        }
    }
    return std::ranges::all_of(drawer.rows.Segments(), [&](const DrawerSegment& segment) {
        return LieApart(*view[rowDim], *segment.members);
    });
}

}  // namespace

ViewOnDrawer Meet(const std::vector<ComponentSetPtr>& view, const DrawerState& drawer) {
    ViewOnDrawer result;
    result.rowItems = drawer.ItemsPerRow();
    if (Misses(view, drawer)) {
        return result;
    }
    const std::size_t nDims = view.size();
    const auto rowDim = static_cast<std::size_t>(drawer.RowDim());
    result.pieces.push_back({0, 0, 1, 1});
    std::int64_t bufferStride = 1;
    std::int64_t rowStride = 1;
    // From the last dimension outwards, each dimension repeats the pieces inside it.
    for (std::size_t dim = nDims; dim-- > 0;) {
        if (dim == rowDim) {
            result.bufferRowStride = bufferStride;
        } else {
            std::vector<RowPiece> pieces;
            ComponentSet::ForEachCommonRun(
                *view[dim], *drawer.sets[dim], [&](int inView, int inDrawer, int count) {
                    // The dimensions inside are one unbroken run in drawer and buffer, so that
                    // neighbours along this one join to a longer run: few copies of many bytes.
                    const bool isWholeInside =
                        result.pieces.size() == 1 && result.pieces[0].count == rowStride &&
                        (rowStride == 1 ||
                         (result.pieces[0].bufferStride == 1 && bufferStride == rowStride));
                    if (isWholeInside) {
                        const bool isScattered = rowStride == 1 && count > 1;
                        pieces.push_back({inDrawer * rowStride,
                                          inView * bufferStride + result.pieces[0].inBuffer,
                                          count * rowStride, isScattered ? bufferStride : 1});
                        return;
                    }
                    for (int i = 0; i < count; ++i) {
                        for (const RowPiece& inside : result.pieces) {
                            pieces.push_back({(inDrawer + i) * rowStride + inside.inRow,
                                              (inView + i) * bufferStride + inside.inBuffer,
                                              inside.count, inside.bufferStride});
                        }
                    }
                });
            result.pieces = std::move(pieces);
            rowStride *= drawer.sets[dim]->Size();
        }
        bufferStride *= view[dim]->Size();
    }
    return result;
}

// --- Items ---------------------------------------------------------------------------------------

namespace {

template <class From>
[[noreturn]] void RefuseValue(From value) {
    ORQBasThrowUsage("the value " + std::to_string(value) +
                     " cannot be held by the scalar type it is moved to");
}

template <class To, class From>
To Convert(From value) {
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (std::is_floating_point_v<To>) {
        if constexpr (std::is_floating_point_v<From>) {
            // Infinity and NaN have a form in every floating-point type; only finite values can be
            // too large.
            if (std::isfinite(value) && std::fabs(value) > std::numeric_limits<To>::max()) {
                RefuseValue(value);
            }
        }
        return static_cast<To>(value);
    } else {
        // Compared as doubles: exact for all the integer types up to 53 bits, and the bounds of
        // 64-bit integers are themselves doubles.
        const auto number = static_cast<double>(value);
        constexpr auto low = static_cast<double>(std::numeric_limits<To>::lowest());
        const double high = std::ldexp(1.0, std::numeric_limits<To>::digits);
        if (!(number >= low && number < high) || number != std::trunc(number)) {
            RefuseValue(value);
        }
        return static_cast<To>(value);
    }
}

template <class Store, class Buffer>
void ToBuffer(std::byte* buffer, std::int64_t stride, const std::byte* store, std::int64_t count) {
    if constexpr (std::is_same_v<Store, Buffer>) {
        if (stride == 1) {
            std::memcpy(buffer, store, static_cast<std::size_t>(count) * sizeof(Store));
            return;
        }
    }
    for (std::int64_t i = 0; i < count; ++i) {
        // Copied and not dereferenced: rows are bytes, of any alignment.
        Store from;
        std::memcpy(&from, store + i * static_cast<std::int64_t>(sizeof from), sizeof from);
        const Buffer to = Convert<Buffer>(from);
        std::memcpy(buffer + i * stride * static_cast<std::int64_t>(sizeof to), &to, sizeof to);
    }
}

// The same into a buffer of which the caches hold a part only.
template <class Store, class Buffer>
void ToLargeBuffer(std::byte* buffer, std::int64_t stride, const std::byte* store,
                   std::int64_t count) {
    if constexpr (std::is_same_v<Store, Buffer>) {
        if (stride == 1) {
            storage::StreamedCopy(buffer, store, static_cast<std::size_t>(count) * sizeof(Store));
            return;
        }
    }
    ToBuffer<Store, Buffer>(buffer, stride, store, count);
}

template <class Store, class Buffer>
void ToStore(std::byte* store, const std::byte* buffer, std::int64_t stride, std::int64_t count) {
    if constexpr (std::is_same_v<Store, Buffer>) {
        if (stride == 1) {
            std::memcpy(store, buffer, static_cast<std::size_t>(count) * sizeof(Store));
            return;
        }
    }
    for (std::int64_t i = 0; i < count; ++i) {
        Buffer from;
        std::memcpy(&from, buffer + i * stride * static_cast<std::int64_t>(sizeof from),
                    sizeof from);
        const Store to = Convert<Store>(from);
        std::memcpy(store + i * static_cast<std::int64_t>(sizeof to), &to, sizeof to);
    }
}

template <class Store, class Buffer>
ItemMover Mover() {
    return {sizeof(Store),
            sizeof(Buffer),
            std::is_same_v<Store, Buffer>,
            ToBuffer<Store, Buffer>,
            ToLargeBuffer<Store, Buffer>,
            ToStore<Store, Buffer>};
}

template <class Store>
ItemMover MoverFrom(int bufferScalar) {
    switch (bufferScalar) {
        case ORQSimScalarInt:
            return Mover<Store, std::int32_t>();
        case ORQSimScalarUint:
            return Mover<Store, std::uint32_t>();
        case ORQSimScalarFloat:
            return Mover<Store, float>();
        case ORQSimScalarInt64:
            return Mover<Store, std::int64_t>();
        case ORQSimScalarByte:
            return Mover<Store, std::uint8_t>();
        default:
            return Mover<Store, double>();
    }
}

// Copies rows of kBytes each; the size is a constant in the copy.
template <std::size_t kBytes>
void GatherRowsOf(const std::byte* rows, std::span<const int> members, std::byte* buffer) {
    // Where 16 members follow one another, one copy of a size that the compiler knows moves all of
    // their rows.
    constexpr std::ptrdiff_t kGroup = 16;
    const int* next = members.data();
    const int* const end = next + members.size();
    const std::int64_t first = *next;
    const auto row = [&](int member) {
        return rows + (member - first) * static_cast<std::int64_t>(kBytes);
    };
    for (; end - next >= kGroup; next += kGroup, buffer += kGroup * kBytes) {
        if (next[kGroup - 1] - next[0] == kGroup - 1) {
            std::memcpy(buffer, row(*next), kGroup * kBytes);
            continue;
        }
        for (std::ptrdiff_t i = 0; i < kGroup; ++i) {
            std::memcpy(buffer + i * kBytes, row(next[i]), kBytes);
        }
    }
    for (; next < end; ++next, buffer += kBytes) {
        std::memcpy(buffer, row(*next), kBytes);
    }
}

}  // namespace

ItemMover MoverBetween(int storedScalar, int bufferScalar) {
    switch (storedScalar) {
        case ORQSimScalarInt:
            return MoverFrom<std::int32_t>(bufferScalar);
        case ORQSimScalarUint:
            return MoverFrom<std::uint32_t>(bufferScalar);
        case ORQSimScalarFloat:
            return MoverFrom<float>(bufferScalar);
        case ORQSimScalarInt64:
            return MoverFrom<std::int64_t>(bufferScalar);
        case ORQSimScalarByte:
            return MoverFrom<std::uint8_t>(bufferScalar);
        default:
            return MoverFrom<double>(bufferScalar);
    }
}

void RowsToBuffer(const ViewOnDrawer& view, const ItemMover& mover, const std::byte* rows,
                  int count, std::byte* buffer) {
    const std::int64_t rowBytes = view.rowItems * mover.storeSize;
    if (view.MovesWholeRows()) {
        buffer += view.pieces[0].inBuffer * mover.bufferSize;
        mover.toBuffer(buffer, 1, rows, count * view.rowItems);
        return;
    }
    for (int i = 0; i < count; ++i) {
        for (const RowPiece& piece : view.pieces) {
            mover.toBuffer(buffer + (i * view.bufferRowStride + piece.inBuffer) * mover.bufferSize,
                           piece.bufferStride, rows + i * rowBytes + piece.inRow * mover.storeSize,
                           piece.count);
        }
    }
}

void GatherRows(const ViewOnDrawer& view, const ItemMover& mover, const std::byte* rows,
                std::span<const int> members, std::byte* buffer) {
    buffer += view.pieces[0].inBuffer * mover.bufferSize;
    const std::int64_t rowBytes = view.rowItems * mover.storeSize;
    switch (rowBytes) {
        case 4:
            return GatherRowsOf<4>(rows, members, buffer);
        case 8:
            return GatherRowsOf<8>(rows, members, buffer);
        case 16:
            return GatherRowsOf<16>(rows, members, buffer);
        case 24:
            return GatherRowsOf<24>(rows, members, buffer);
        case 32:
            return GatherRowsOf<32>(rows, members, buffer);
        default:
            break;
    }
    for (const int member : members) {
        const std::int64_t place = member - std::int64_t{members.front()};
        std::memcpy(buffer, rows + place * rowBytes, static_cast<std::size_t>(rowBytes));
        buffer += rowBytes;
    }
}

void RowsFromBuffer(const ViewOnDrawer& view, const ItemMover& mover, const std::byte* buffer,
                    int count, std::byte* rows) {
    if (view.MovesWholeRows()) {
        mover.toStore(rows, buffer + view.pieces[0].inBuffer * mover.bufferSize, 1,
                      count * view.rowItems);
        return;
    }
    const std::int64_t rowBytes = view.rowItems * mover.storeSize;
    for (int i = 0; i < count; ++i) {
        for (const RowPiece& piece : view.pieces) {
            mover.toStore(rows + i * rowBytes + piece.inRow * mover.storeSize,
                          buffer + (i * view.bufferRowStride + piece.inBuffer) * mover.bufferSize,
                          piece.bufferStride, piece.count);
        }
    }
}

void ZeroInBuffer(const ViewOnDrawer& view, const ItemMover& mover, int count, std::byte* buffer) {
    const auto itemBytes = static_cast<std::size_t>(mover.bufferSize);
    for (int i = 0; i < count; ++i) {
        for (const RowPiece& piece : view.pieces) {
            std::byte* at = buffer + (i * view.bufferRowStride + piece.inBuffer) * mover.bufferSize;
            for (std::int64_t item = 0; item < piece.count; ++item) {
                std::memset(at + item * piece.bufferStride * mover.bufferSize, 0, itemBytes);
            }
        }
    }
}

}  // namespace orq::database
