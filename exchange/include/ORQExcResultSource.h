#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcReport.h"
#include "ORQObjMeshedField.h"

/// One array of results as a file has it: values of nodes, of elements or of the whole model.
struct ORQExcResultArray {
    enum class Place { Node, Element, Model };
    /// Where within its elements an array has values.
    enum class Within { Whole, IntegrationPoints, Nodes, Faces };

    /// Values of some members at some of the source's times, ascending.
    struct Part {
        std::vector<int> times;
        int first = 0;  ///< members [first, first + count) ...
        int count = 0;
        std::vector<int> members = {};  ///< ... or these, each once, when there are any

        /// Counts for each member; 0 for an array without points, or without layers.
        int nPoints = 0;
        int nLayers = 0;
        int nSectionPoints = 0;

        int NumMembers() const {
            return members.empty() ? count : static_cast<int>(members.size());
        }
        /// Values of a component in each member.
        int NumSpots() const {
            return std::max(1, nPoints) * std::max(1, nLayers) * std::max(1, nSectionPoints);
        }
        bool operator==(const Part&) const = default;
    };

    Place place;
    std::string name;
    std::vector<std::string> components;  ///< their names in the file; the array's, when it is one
    std::vector<Part> parts;              ///< none for an array without values
    Within within = Within::Whole;
    bool hasLayers = false;
    /// How the file names the arrays that this one was put together from; empty for one array.
    std::string arrayNames = {};
    /// What a user says of it: the name of its field, the code of its one component
    /// (ads_ComponentSymbolsEnm), and its axes. Without a name of a field, the names decide.
    std::string field = {};
    int code = 0;
    ORQObjAxes axes = ORQObjAxes::Unknown;
};

/// What reports call a field of a place.
inline const char* ORQExcFieldKind(ORQExcResultArray::Place place) {
    switch (place) {
        case ORQExcResultArray::Place::Node:
            return "nodal field";
        case ORQExcResultArray::Place::Element:
            return "element field";
        case ORQExcResultArray::Place::Model:
            break;
    }
    return "field of the whole model";
}

/// The results of a file over its times, as an importer delivers them. Members are ordinals of the
/// ORQExcMeshSource; the whole model counts as one member, number 0.
class ORQ_EXPORT ORQExcResultSource {
  public:
    virtual ~ORQExcResultSource() = default;

    /// The times in the file's order; finite.
    virtual const std::vector<double>& Times() const = 0;
    virtual const std::vector<ORQExcResultArray>& Arrays() const = 0;
    /// Values [end - begin][layers][section points][members][points][components] of a part, at its
    /// times [begin, end), without the dimensions that it lacks.
    virtual void ReadResult(int array, int part, int begin, int end, std::span<double> values) = 0;
    /// The same of members [first, first + count) of the part, at one time.
    virtual void ReadMembers(int array, int part, int time, int first, int count,
                             std::span<double> values);
    /// What is doubtful in the file, or delivered otherwise than it has it.
    virtual ORQExcReport ResultLosses() const = 0;

    /// Values of all arrays.
    std::int64_t NumValues() const {
        std::int64_t count = 0;
        for (const ORQExcResultArray& array : Arrays()) {
            for (const ORQExcResultArray::Part& part : array.parts) {
                count += static_cast<std::int64_t>(part.times.size() * array.components.size()) *
                         part.NumMembers() * part.NumSpots();
            }
        }
        return count;
    }
};
