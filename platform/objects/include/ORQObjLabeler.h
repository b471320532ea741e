#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQString.h"

/// What is labelled. Values are stored, do not change.
enum class ORQObjLabelerType : int { Node = 0, Element = 1 };

/// The labels (the user's numbers) of nodes or elements, instance by instance.
///
/// A label names a node within its instance: labels may repeat across instances, may have gaps and
/// may run in any order through the mesh. Example, instance PART-1 of three nodes:
///
///   ordinal            0    1    2
///   label             30   10   20
///   labels delivered  10, 20, 30      ordinals delivered  1, 2, 0
///
/// Owns what it has read, and does not follow later changes. After Read(), a label is found by a
/// binary search, an ordinal as ORQSimCSet::SeekMember finds it; both first look the instance up by
/// name. What is unknown is -1, empty or false.
class ORQ_EXPORT ORQObjLabeler {
  public:
    ORQObjLabeler(const ORQObjDocument& document, ORQObjLabelerType type);
    ORQObjLabeler(const ORQSimPosition& position, ORQObjLabelerType type);

    /// Loads the label tables: 4 bytes for each label. REQUIRED before any query. Throws
    /// ORQBasFailure: Usage when the database is closed, Damaged or Io when the tables cannot be
    /// read.
    void Read();

    /// The names of the instances, in the order of their member numbers.
    ORQSimArray<ORQString> Occurrences() const;
    /// Whether there is such an instance and it has labels.
    bool IsInstanceValid(const ORQString& instance) const;
    /// The label of an ordinal in an instance, -1 when it has none there.
    int GetInstanceLabel(const ORQString& instance, int ordinal) const;
    /// The ordinal of a label in an instance, -1 when there is none.
    int GetInstanceOrdinal(const ORQString& instance, int label) const;
    /// All labels in ascending order, and the ordinal of each; both empty for an unknown instance.
    void GetInstanceLabelsAndOrdinals(const ORQString& instance, ORQSimArray<int>& labels,
                                      ORQSimArray<int>& ordinals) const;
    /// The name of the instance that labels an ordinal; false when none does. Searches instance by
    /// instance.
    bool GetOccurrenceForFlatMeshOrdinal(int ordinal, ORQString& instance) const;

  private:
    struct Instance {
        ORQString name;
        ORQSimCSet ordinals;  // in ascending order of their labels
        std::vector<int> labels;
    };
    const Instance* Find(const ORQString& name) const;

    ORQObjDocument m_document;
    ORQObjLabelerType m_type;
    std::vector<Instance> m_instances;
    std::map<ORQString, std::size_t> m_places;  // of the instances, by name
};
