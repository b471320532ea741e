#pragma once

#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQObjDocument.h"

namespace orqmodel {

/// The objects of one kind, a row each; the first column is the name.
struct InventoryTable {
    struct Column {
        const char* heading;
        const char* member;  ///< its name in JSON
        bool isNumber = false;
    };
    std::vector<Column> columns;
    /// Cells are strings, numbers, null, lists of strings, and ranges {"lowest", "highest", ...}.
    std::vector<std::vector<nlohmann::json>> rows;

    const std::string& NameOf(std::size_t row) const;
    std::vector<std::string> Names() const;
    /// The rows as objects, a member for each column.
    nlohmann::json ToJson() const;
    /// Texts as PrintTable takes them, the headings first.
    std::vector<std::vector<std::string>> Texts() const;
    std::vector<bool> NumberColumns() const;
};

/// The objects of a model by name, from its catalogue: names, counts, first and last values. Bulk
/// data stay unread, so that the cost does not grow with nodes and elements, except for sets of
/// scattered members. Throws ORQBasFailure (Damaged).
class Inventory {
  public:
    explicit Inventory(const ORQObjDocument& document) : m_document(document), m_model(document) {}

    const ORQExcModel& Model() const { return m_model; }

    InventoryTable Instances() const;
    InventoryTable Blocks() const;
    /// Sets of nodes, then of elements, without those that stand for blocks.
    InventoryTable Sets() const;
    InventoryTable Surfaces() const;
    InventoryTable Sections() const;
    InventoryTable Materials() const;
    InventoryTable Orientations() const;
    InventoryTable Steps() const;
    InventoryTable Fields() const;

  private:
    ORQObjDocument m_document;
    ORQExcModel m_model;
};

/// A kind that can be listed.
struct InventoryKind {
    const char* name;  ///< for example "blocks"
    InventoryTable (Inventory::*read)() const;
};

/// The kinds in the order in which a model is described.
std::span<const InventoryKind> InventoryKinds();

}  // namespace orqmodel
