#pragma once

#include <cstdint>
#include <filesystem>
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
#include "ORQObjLabeler.h"

/// A mesh as an importer delivers it, block by block, so that nothing but the caller's buffers
/// holds it whole. Ordinals count from 0 in file order; ranges are half-open.
///
/// A format fills the contents in its constructor and says how bulk data are read; what it does not
/// have, it need not mention. It has validated what it delivers: nodes and elements that are named
/// exist, labels are at least 1, coordinates are finite. What is wrong throws ORQExcImportError,
/// with file, section and line or index, from the constructor or from the reading call.
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
    /// An array that a model has no place for, kept for exports of the same format.
    struct Array {
        struct Dimension {
            std::string name;
            std::int64_t length = 0;  ///< at most 2^31 - 1
        };
        std::string name;
        int scalarType = 0;                 ///< ORQSimScalarType
        std::vector<Dimension> dimensions;  ///< none for a single value
        /// What reports call it, and how many there are; an array without a kind is not reported.
        std::string kind;
        std::int64_t count = 0;

        std::int64_t NumRows() const { return dimensions.empty() ? 1 : dimensions[0].length; }
        /// Values in a row.
        std::int64_t RowSize() const;
    };
    /// What a file holds, by name and size.
    struct Contents {
        std::string title;
        int dimension = 3;      ///< 2 or 3; the coordinates delivered for each node
        int fileDimension = 3;  ///< that the file has; a line is delivered in the plane
        int nNodes = 0;
        std::vector<Block> blocks;
        std::vector<Set> nodeSets;
        std::vector<Set> elementSets;
        std::vector<Set> sideSets;
        std::vector<Array> arrays;
        std::vector<Instance> instances = {};  ///< empty: one, kMainInstance
        std::vector<ORQExcKeptText> keptTexts = {};
    };

    virtual ~ORQExcMeshSource() = default;

    /// The name of the format, for example "Exodus II".
    virtual std::string_view Format() const = 0;

    const std::string& Title() const { return m_contents.title; }
    int Dimension() const { return m_contents.dimension; }
    int FileDimension() const { return m_contents.fileDimension; }
    int NumNodes() const { return m_contents.nNodes; }
    /// Costs a pass over the blocks.
    int NumElements() const;
    const std::vector<Block>& Blocks() const { return m_contents.blocks; }
    /// One at least. Blocks lie within instances.
    std::vector<Instance> Instances() const;
    const std::vector<Set>& NodeSets() const { return m_contents.nodeSets; }
    const std::vector<Set>& ElementSets() const { return m_contents.elementSets; }
    const std::vector<Set>& SideSets() const { return m_contents.sideSets; }
    const std::vector<Array>& Arrays() const { return m_contents.arrays; }

    /// [end - begin][Dimension()]
    virtual void ReadCoordinates(int begin, int end, std::span<double> coordinates) = 0;
    /// Reads labels of nodes, or of elements over all blocks.
    virtual void ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) = 0;
    /// [end - begin][nodes of the shape], elements counted within the block.
    virtual void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) = 0;
    /// [end - begin][attributes], elements counted within the block.
    virtual void ReadAttributes(int block, int begin, int end, std::span<double> values);
    /// The members of a set of nodes, or of elements: ordinals in file order. A member may stand in
    /// a set more than once.
    virtual std::vector<int> ReadSet(ORQObjLabelerType type, int set);
    virtual std::vector<Side> ReadSideSet(int set);

    /// Rows [begin, end) of one of Contents::arrays.
    virtual void ReadArray(int array, int begin, int end, void* values);

    /// The shell sections of the file, over its blocks and element sets; null when the format has
    /// none. The source keeps it.
    virtual const ORQExcLayup* Sections() const { return nullptr; }

    /// The results of the file; null when the format has none. The source keeps it.
    virtual ORQExcResultSource* Results() { return nullptr; }

    /// What the model has no place for, or not for all of it.
    const std::vector<ORQExcKeptText>& KeptTexts() const { return m_contents.keptTexts; }

    /// What is delivered otherwise than the file has it, and what is left out.
    virtual ORQExcReport Losses() const { return {}; }

    /// Throws when two nodes, or two elements, of an instance have the same label, naming both. Takes 4 bytes for
    /// each meanwhile. `file` is for the error's text.
    void CheckLabels(const std::filesystem::path& file);

  protected:
    Contents m_contents;
};
