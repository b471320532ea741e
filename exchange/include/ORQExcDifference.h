#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"

/// One thing in which two models differ.
struct ORQExcDifference {
    enum class Kind {
        Model,
        Instance,
        Node,
        Element,
        Block,
        NodeSet,
        ElementSet,
        Surface,
        Section,
        Material,
        Orientation,
        Step,
        Field,
        Text,
        Array
    };
    enum class Change { Removed, Added, Changed };
    /// A node or an element.
    struct Member {
        int instance;       ///< place in ORQExcDifferences::instances; -1 without a label
        int label;          ///< the member number in the model instead where it has no label
        double amount = 0;  ///< the distance of a moved node, the difference of a value
    };

    Kind kind;
    Change change;
    std::string name;         ///< of the object; empty for nodes and elements
    std::string what = {};    ///< that changed, for example "thickness of layer 2"
    std::string at = {};      ///< of a field's values the component and the time
    std::string before = {};  ///< what it was and what it is; empty for none
    std::string after = {};
    std::int64_t count = 1;  ///< nodes, elements, members of a set, values, times, lines, rows
    double amount = 0;       ///< the largest distance or difference, where there is one
    /// All nodes, elements or members of sets that differ; for a field the one with the largest
    /// difference.
    std::vector<Member> members = {};
};

/// What tells two models apart, object by object.
struct ORQExcDifferences {
    std::vector<std::string> instances;  ///< those of both models
    std::vector<ORQExcDifference> list;  ///< by kind, in the order of the first model
};

struct ORQExcComparison {
    /// Numbers a and b count as equal when |a - b| is at most `absolute`, or at most `relative`
    /// times the larger of |a| and |b|. Positions are compared as vectors. Two that are not numbers
    /// are equal. Times of results are the same up to rounding only.
    double relative = 0;
    double absolute = 0;
    /// Blocks, sets, surfaces, sections, materials, orientations and steps are the same when they
    /// have the same number, else when they have the same name.
    bool byNumber = false;
    /// Called with what is read, from 0 to 1.
    std::function<void(double)> progress = {};
};

/// Compares two models. Nodes and elements are the same when they have the same label in the
/// instance of the same name; where neither model has labels, when they have the same member number.
///
/// A removed node or element is one difference: that sets, surfaces and sections lack it too is
/// none. An element that moved to another block, and with it to the section of that name, is one
/// difference as well.
///
/// Reads all coordinates, connectivity and results once, some megabytes at a time. Holds 8 bytes
/// for each node and element, and the differences. Throws ORQBasFailure (Damaged).
ORQ_EXPORT ORQExcDifferences ORQExcCompare(const ORQObjDocument& before,
                                           const ORQObjDocument& after,
                                           const ORQExcComparison& options = {});
