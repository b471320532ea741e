#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcKeptTexts.h"
#include "ORQExcLayup.h"
#include "ORQExcReport.h"
#include "ORQExcResultSource.h"
#include "ORQExcShapes.h"

/// How many objects of one kind a file holds, for example {"side sets", 8}.
struct ORQExcContentCount {
    std::string kind;
    std::int64_t count;
    std::string name = {};
};

/// A mesh as an importer delivers it, block by block, so that nothing but the caller's buffers
/// holds it whole. Ordinals count from 0 in file order; ranges are half-open.
///
/// A source has validated what it delivers: nodes and elements that are named exist, labels are at
/// least 1 and unique, coordinates are finite. What is wrong throws ORQExcImportError, with file,
/// section and line or index, from the constructor or from the reading call.
class ORQ_EXPORT ORQExcMeshSource {
  public:
    using Properties = std::vector<std::pair<std::string, int>>;  ///< by name
    struct Block {
        std::string name;
        int number;
        const ORQExcShape* shape;
        std::string shapeName;  ///< as the file spells it
        int nElements;          ///< blocks follow each other in element order
        std::vector<std::string> attributes;
        Properties properties = {};
        /// What the file says of all its elements that has no place elsewhere, for exports of the
        /// same format; empty when there is none.
        std::string definition = {};
    };
    /// Nodes and elements that are labelled together; instances follow each other.
    struct Instance {
        std::string name;
        int nNodes;
        int nElements;
    };
    static constexpr const char* kMainInstance = "PART-1";
    struct Set {
        std::string name;
        int number;
        Properties properties = {};
    };
    struct Side {
        int element;
        int side;  ///< place in the shape's sides
    };

    virtual ~ORQExcMeshSource() = default;

    /// The name of the format, for example "Exodus II".
    virtual std::string_view Format() const = 0;
    /// Everything the file holds that no call here delivers.
    virtual std::vector<ORQExcContentCount> Unread() const = 0;
    /// Throws when two nodes, or two elements, have the same label, naming both.
    virtual void CheckLabels() = 0;

    virtual std::string Title() const = 0;
    /// The coordinates that the file has for each node; one-dimensional meshes are delivered in the
    /// plane.
    virtual int FileDimension() const { return Dimension(); }
    /// 2 or 3; the coordinates delivered for each node.
    virtual int Dimension() const = 0;
    virtual int NumNodes() const = 0;
    virtual const std::vector<Block>& Blocks() const = 0;
    /// Of all nodes and elements; empty: one, kMainInstance. Blocks lie within instances.
    virtual std::vector<Instance> Instances() const { return {}; }
    virtual const std::vector<Set>& NodeSets() const = 0;
    virtual const std::vector<Set>& ElementSets() const = 0;
    virtual const std::vector<Set>& SideSets() const = 0;

    /// [end - begin][Dimension()]
    virtual void ReadCoordinates(int begin, int end, std::span<double> coordinates) = 0;
    virtual void ReadNodeLabels(int begin, int end, std::span<int> labels) = 0;
    /// [end - begin][nodes of the shape], elements counted within the block.
    virtual void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) = 0;
    virtual void ReadElementLabels(int begin, int end, std::span<int> labels) = 0;
    /// [end - begin][attributes], elements counted within the block.
    virtual void ReadAttributes(int block, int begin, int end, std::span<double> values) = 0;
    /// Ordinals in file order; a member may stand in a set more than once.
    virtual std::vector<int> ReadNodeSet(int set) = 0;
    virtual std::vector<int> ReadElementSet(int set) = 0;
    virtual std::vector<Side> ReadSideSet(int set) = 0;

    /// The shell sections of the file, over its blocks and element sets; null when the format has
    /// none. The source keeps it.
    virtual const ORQExcLayup* Sections() const { return nullptr; }

    /// The results of the file; null when the format has none. The source keeps it.
    virtual ORQExcResultSource* Results() { return nullptr; }

    /// What the model has no place for, or not for all of it.
    virtual std::vector<ORQExcKeptText> KeptTexts() const { return {}; }

    /// What is delivered otherwise than the file has it, and what is left out for reasons of its
    /// own.
    virtual ORQExcReport Losses() const { return {}; }
};
