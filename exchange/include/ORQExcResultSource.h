#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcReport.h"

/// One array of results as a file has it: values of nodes, of elements or of the whole model.
struct ORQExcResultArray {
    enum class Place { Node, Element, Model };

    /// Values of some members at some of the source's times, ascending.
    struct Part {
        std::vector<int> times;
        int first = 0;  ///< members [first, first + count) ...
        int count = 0;
        std::vector<int> members = {};  ///< ... or these, each once, when there are any

        int NumMembers() const {
            return members.empty() ? count : static_cast<int>(members.size());
        }
        bool operator==(const Part&) const = default;
    };

    Place place;
    std::string name;
    std::vector<std::string> components;  ///< their names in the file; the array's, when it is one
    std::vector<Part> parts;              ///< none for an array without values
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

    /// In the file's order; finite.
    virtual const std::vector<double>& Times() const = 0;
    virtual const std::vector<ORQExcResultArray>& Arrays() const = 0;
    /// Values [end - begin][members][components] of a part, at its times [begin, end).
    virtual void ReadResult(int array, int part, int begin, int end, std::span<double> values) = 0;
    /// What is doubtful in the file, or delivered otherwise than it has it.
    virtual ORQExcReport ResultLosses() const = 0;

    /// Values of all arrays.
    std::int64_t NumValues() const {
        std::int64_t count = 0;
        for (const ORQExcResultArray& array : Arrays()) {
            for (const ORQExcResultArray::Part& part : array.parts) {
                count += static_cast<std::int64_t>(part.times.size() * array.components.size()) *
                         part.NumMembers();
            }
        }
        return count;
    }
};
