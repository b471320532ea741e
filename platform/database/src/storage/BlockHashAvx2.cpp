#include "BlockHashKernel.h"

namespace orq::storage {

constexpr BlockHashes kAvx2BlockHashes = {HashOf, CopyAndHashOf};

}  // namespace orq::storage
