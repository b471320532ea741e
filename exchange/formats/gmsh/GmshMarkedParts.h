#pragma once

#include <string>
#include <utility>
#include <vector>

#include "formats/gmsh/GmshCursor.h"
#include "formats/gmsh/GmshReader.h"

namespace orq::exchange {

/// What the format has no place for and an export of ours writes as views of marked nodes and
/// elements: node sets, surfaces, shells and attributes.
class GmshReader::MarkedParts {
  public:
    /// `firstOfBlock` has the ordinal of each block's first element. All must outlive the object.
    MarkedParts(GmshReader& reader, const std::vector<int>& firstOfBlock, const GmshCursor& in)
        : m_reader(reader), m_firstOfBlock(firstOfBlock), m_in(in) {}

    /// Adds what the reader's results have as marks, and takes these away from them. Throws
    /// ORQExcImportError.
    void Add();

  private:
    std::pair<std::size_t, int> BlockWith(int element) const;
    void MakeShells(const GmshResults::Marks& marks);
    void AddSurface(const GmshResults::Marks& marks, const std::string& name);
    void AddAttribute(const GmshResults::Marks& marks, const std::string& name);

    GmshReader& m_reader;
    const std::vector<int>& m_firstOfBlock;
    const GmshCursor& m_in;
};

}  // namespace orq::exchange
