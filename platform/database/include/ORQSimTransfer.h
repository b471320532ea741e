/// Transfers: moving blocks of values between the caller's buffers and a distribution.
#pragma once

#include <cstdint>
#include <memory>

#include "ORQBasExport.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"

class ORQSimDistribution;

/// Buffers of a transfer. A sparse one of a grid of two dimensions has all three:
///   main        the stored values, row after row
///   indicesNZ   int32: for each value its location in the set of dimension 1
///   sparseMap   int32: rows + 1 entries; row k's values are [map[k], map[k + 1])
enum ORQSimBuffer : int { ORQSimbufMain = 0, ORQSimbufIndicesNZ = 1, ORQSimbufSparseMap = 2 };

class ORQSimSerializationType {
  public:
    ORQSimSerializationType& SetSparse() {
        m_isSparse = true;
        return *this;
    }
    bool IsSparse() const { return m_isSparse; }

  private:
    bool m_isSparse = false;
};

/// What a read moved.
class ORQSimTransientDrawer {
  public:
    ORQSimTransientDrawer(int dimensions, std::int64_t items)
        : m_dimensions(dimensions), m_items(items) {}
    int NumDimensions() const { return m_dimensions; }
    /// Items of the view that some drawer held.
    std::int64_t NumItems() const { return m_items; }

  private:
    int m_dimensions;
    std::int64_t m_items;
};

/// One read, write or making of a drawer. Configured by chained calls, then executed once or more.
///
/// The view is the product of one set per dimension. Buffers are row-major in the order of the
/// dimensions, and within a dimension in the order of its set:
///
///   grid (nodes, components), view nodes {7, 3} x components {1, 2}
///   buffer:  node 7 component 1, node 7 component 2, node 3 component 1, node 3 component 2
///
/// A read without a drawer covers every drawer that meets the view, in order of their creation, so
/// that where they overlap the later one wins. Cells that no drawer holds leave the buffer as it
/// is; cells of a drawer that were never written read as zero.
///
/// Failures are ORQBasFailure. Usage: a view that does not fit the grid or, in writing, the drawer
/// (naming dimension and member), a buffer that is missing or too small, a reference to a member
/// that the range collection lacks (-1 is none), more than 2^31 - 1 bytes at once, no open
/// transaction. Damaged: the bytes on the disk are not those that were written. After a failure
/// while values move, one that cannot be held among them, the transaction can only be undone and
/// refuses all else; what is refused beforehand leaves it as it was.
class ORQ_EXPORT ORQSimTransfer {
  public:
    explicit ORQSimTransfer(const ORQSimDistribution& distribution);
    ~ORQSimTransfer();
    ORQSimTransfer(const ORQSimTransfer&) = delete;
    ORQSimTransfer& operator=(const ORQSimTransfer&) = delete;

    ORQSimTransfer& SetRead();
    ORQSimTransfer& SetWrite();
    /// The drawer to read or write.
    ORQSimTransfer& SetDrawer(const ORQSimDrawerID& drawer);
    /// A write or ExecMake makes a new drawer over the view; a sparse one is made by a write only.
    ORQSimTransfer& SetMakeNewDrawer();
    /// ... stored in pieces of at most this many items per dimension, and extendable.
    ORQSimTransfer& SetMakeNewDrawerChunked(const ORQSimArray<int>& chunkSizes);
    /// The dimension along which the new drawer may grow; chunked drawers only. -1 for none.
    ORQSimTransfer& SetExtendableDim(int dimension);

    ORQSimTransfer& SetDim(int dimension, const ORQSimCSet& set);
    /// Writing adds the view's members that the drawer lacks along its extendable dimension.
    ORQSimTransfer& SetAutoExtend();
    /// Writing first adds these members along the extendable dimension.
    ORQSimTransfer& SetDimExtension(const ORQSimCSetID& members);

    /// The caller keeps the buffer; it must live until the transfer is executed or relinquished.
    ORQSimTransfer& SetBuffer(int buffer, void* data, std::int64_t size);
    ORQSimTransfer& SetBuffer(int buffer, const void* data, std::int64_t size);
    /// The scalar type in the main buffer, converted to and from that of the distribution. A value
    /// that the other type cannot hold throws Usage; floating-point types round. Default: the
    /// distribution's.
    ORQSimTransfer& SetBufferType(int scalarType);
    /// Rounds required sizes up to a multiple of 8 bytes. Default: off.
    ORQSimTransfer& SetBufferPadding(bool isPadded);
    ORQSimTransfer& SetSerialization(const ORQSimSerializationType& serialization);
    /// The number of values of a sparse drawer to be made.
    ORQSimTransfer& SetSparseNNonzero(int count);
    /// Forgets the buffers.
    ORQSimTransfer& RelinquishBuffers();

    /// Throws Usage unless the view is one that the execution accepts.
    void CheckView() const;
    /// Bytes that a buffer must hold.
    std::int64_t RequiredBufferSize(int buffer = ORQSimbufMain) const;

    ORQSimTransientDrawer ExecRead();
    void ExecWrite();
    void ExecMake();
    /// The drawer that was set or made last.
    const ORQSimDrawerID& DrawerID() const;

  private:
    class Job;
    std::unique_ptr<Job> m_job;
};
