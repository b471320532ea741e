// Where bytes of the bulk file come from that the file itself has not: of a cache, whose truth lies
// elsewhere.
#pragma once

#include <span>

#include "BulkFile.h"

namespace orq::storage {

class ChunkSource {
  public:
    /// Puts the bytes of these places into the file, and no others. Whether they are right is the
    /// caller's to see. Throws where they cannot be had.
    virtual void Bring(std::span<const BulkFile::Place> places) = 0;
    /// For a caller that found bytes that were brought not right: throws where it is known why they
    /// cannot be had.
    virtual void CheckStillThere() = 0;

  protected:
    ~ChunkSource() = default;
};

}  // namespace orq::storage
