#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcResultSource.h"

/// A file that says which arrays of results are points and layers of one field, where no convention
/// of names does; docs/results-map.md says how.
class ORQ_EXPORT ORQExcResultsMap {
  public:
    /// One field.
    struct Rule {
        struct Component {
            std::string name;  ///< in the names of arrays; the label of the component
            int code;          ///< ads_ComponentSymbolsEnm
        };
        std::string field;
        std::string arrays;  ///< a pattern, as in docs/results-map.md
        ORQExcResultArray::Within within = ORQExcResultArray::Within::Whole;
        std::vector<Component> components;
        ORQObjAxes axes = ORQObjAxes::Unknown;
    };

    /// Throws ORQExcImportError: when the file cannot be read or is not JSON, with line and column;
    /// else with all that is wrong in it, each with its JSON pointer, from the 21st on only their
    /// number.
    explicit ORQExcResultsMap(std::filesystem::path file);

    const std::filesystem::path& Path() const { return m_file; }
    const std::vector<Rule>& Rules() const { return m_rules; }

  private:
    std::filesystem::path m_file;
    std::vector<Rule> m_rules;
};
