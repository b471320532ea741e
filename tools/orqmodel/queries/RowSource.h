#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQSimCSet.h"

namespace orqmodel {

enum class RowPlace { Model, Node, Element };

/// Some rows of a table: the values of some members at one time.
struct RowBlock {
    int frame = -1;              ///< of the results; -1 for what has no time
    ORQExcSpot spot = {};        ///< in each of the elements, where the source has such heads
    ORQSimCSet members;          ///< ascending; none for the whole model, which has one row
    std::string shape;           ///< of all the elements, or the block of nodes; may be empty
    std::vector<double> values;  ///< [rows][columns], not a number where there is none

    std::size_t NumRows() const {
        return members.IsEmpty() ? 1 : static_cast<std::size_t>(members.Size());
    }
    /// Leaves out the members of which no value is a number, whatever others are in the block: so
    /// the rows do not depend on how members fall into blocks.
    void LeaveOutEmpty();
};

/// Rows of numbers, a block at a time, so that memory does not grow with their number.
class RowSource {
  public:
    struct Column {
        std::string name;
        bool isInteger = false;
        bool isPlace = false;  ///< says where a value is; statistics leave it out
    };
    /// Half a megabyte of four columns: it stays in the processor's cache.
    static constexpr int kRowsAtOnce = 16384;
    /// What says where in an element, or of which block, a row is.
    struct Heads {
        bool hasLayers = false;
        bool hasPoints = false;
        bool hasBlocks = false;
    };

    virtual ~RowSource() = default;

    virtual RowPlace Place() const = 0;
    virtual const std::vector<Column>& Columns() const = 0;
    virtual Heads SpotHeads() const { return {}; }
    /// Blocks of one time follow each other. False after the last one.
    virtual bool Next(RowBlock& block) = 0;
    /// How far it has come, from 0 to 1.
    virtual double Done() const = 0;
};

// Sources refer to the model and the results that they are made of. Members are ascending.

std::unique_ptr<RowSource> CoordinateRows(const ORQExcModel& model, const ORQSimCSet& nodes);
/// Labels of the nodes of elements, in the order of ORQExcShape; by block of the model.
std::unique_ptr<RowSource> ConnectivityRows(const ORQExcModel& model, const ORQSimCSet& elements);
/// A field at some frames, all of its components or the one at a place of their order.
std::unique_ptr<RowSource> FieldRows(const ORQExcResults& results,
                                     const ORQExcResults::Field& field, std::vector<int> frames,
                                     const ORQSimCSet& members, int component = -1);

/// Sizes of elements, in powers of the model's units: `length` of lines, `area` of plane shapes and
/// shells, `thickness` and `offset` of shells as ORQExcShellValuesOf knows them, `volume` of solids
/// and, by thickness, of shells, and `mass` of shells by the densities of their layers, without
/// other masses of a section. Lengths, areas and volumes are those of ORQExcMeasureOf: by the
/// corners. `quality` is the scaled Jacobian of plane shapes, shells and solids; see
/// ORQExcQualityMeasures.
std::unique_ptr<RowSource> MeasureRows(const ORQExcModel& model, const ORQSimCSet& elements,
                                       const std::string& measure);
/// The measures, in the order in which help names them.
std::vector<std::string> MeasureNames();

}  // namespace orqmodel
