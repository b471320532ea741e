#pragma once

#include <optional>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjLabeler.h"
#include "ORQSimArray.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// The labels of a whole assembly: from an instance and a label to a member number of the mesh, and
/// from a member number to its instance and label.
///
///   PART-1 labels nodes 0 and 1 as 20 and 10, PART-2 node 2 as 10; node 3 has no label
///   GetNodeOrdinal("PART-2", 10) = 2     GetNodeOrdinals(10)    = { 1, 2 }
///   GetNodeLabel(0)              = 20    GetNodeInstanceName(0) = "PART-1"
///   GetNodeLabel(3)              = -1    GetNodeInstanceName(3) = ""
///
/// The tables of nodes and of elements are read when they are first needed, 16 bytes for each label
/// and 8 for each member; later changes of the model do not reach them. A query costs the
/// logarithm of an instance's labels, or constant time. Of a member that several instances label,
/// the first instance counts.
class ORQ_EXPORT ORQSrvGlobalLabelMap {
  public:
    /// `position` is any object of the document. Reads nothing yet. One without a document ends the
    /// process ("AssertionFailed:m_focus.IsNull() == false").
    explicit ORQSrvGlobalLabelMap(const ORQSimPosition& position);

    /// The names of instances in the order of their member numbers.
    ORQSimArray<ORQString> InstanceNames();

    /// -1 for an instance or a label that is not there.
    int GetNodeOrdinal(const ORQString& instance, int label);
    int GetElementOrdinal(const ORQString& instance, int label);
    /// All that carry a label, in the order of their instances.
    ORQSimArray<int> GetNodeOrdinals(int label);
    ORQSimArray<int> GetElementOrdinals(int label);

    /// -1 and an empty name for a member without a label, and outside the mesh. A name is valid as
    /// long as the map.
    int GetNodeLabel(int ordinal);
    int GetElementLabel(int ordinal);
    const ORQString& GetNodeInstanceName(int ordinal);
    const ORQString& GetElementInstanceName(int ordinal);

  private:
    class Table {
      public:
        Table(const ORQSimPosition& focus, ORQObjLabelerType type);
        const ORQSimArray<ORQString>& InstanceNames() const { return m_instances; }
        int Ordinal(const ORQString& instance, int label) const;
        ORQSimArray<int> Ordinals(int label) const;
        int Label(int ordinal) const;
        const ORQString& InstanceName(int ordinal) const;

      private:
        struct Place {
            int instance = -1;
            int label = -1;
        };
        Place PlaceOf(int ordinal) const;

        ORQObjLabeler m_labeler;
        ORQSimArray<ORQString> m_instances;
        std::vector<Place> m_places;  // by ordinal
    };
    const Table& Nodes();
    const Table& Elements();

    ORQSimPosition m_focus;
    std::optional<Table> m_nodes;
    std::optional<Table> m_elements;
};
